# `cmake --build ... --target docs` builds the manual in HTML: the pages of docs/ and the reference of
# every public class, with links in both directions. There is no such target without Doxygen and Python;
# scripts/manual.sh installs them.
find_package(Doxygen QUIET)
find_package(Python3 QUIET COMPONENTS Interpreter)
if(NOT DOXYGEN_FOUND OR NOT Python3_FOUND)
  return()
endif()

set(docs ${PROJECT_SOURCE_DIR}/docs)
set(sources ${PROJECT_BINARY_DIR}/docs/sources)
set(DOXYGEN_PROJECT_BRIEF "${PROJECT_DESCRIPTION}")
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)

# The input, which doc_sources.py writes: the pages and the public headers.
set(DOXYGEN_FILE_PATTERNS *.h *.dox)
set(DOXYGEN_EXTENSION_MAPPING dox=md)
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${sources}/index.dox)
set(DOXYGEN_IMAGE_PATH ${docs} ${docs}/diagrams ${docs}/charts)
set(DOXYGEN_STRIP_FROM_PATH ${sources})
set(DOXYGEN_STRIP_FROM_INC_PATH ${sources})
set(DOXYGEN_MARKDOWN_SUPPORT YES)
set(DOXYGEN_TOC_INCLUDE_HEADINGS 2)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_INCLUDE_PATH ${sources})
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED "QOR_API=")
set(DOXYGEN_EXPAND_AS_DEFINED QOR_DECLARE_EXCEPTION QOR_DECLARE_PLAIN_EXCEPTION)
set(DOXYGEN_EXTRACT_ALL YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)

# The output.
set(DOXYGEN_LAYOUT_FILE ${docs}/layout.xml)
set(DOXYGEN_HTML_EXTRA_STYLESHEET ${docs}/style.css)
set(DOXYGEN_HTML_DYNAMIC_MENUS YES)
set(DOXYGEN_DISABLE_INDEX NO)
set(DOXYGEN_GENERATE_TREEVIEW NO)
set(DOXYGEN_SEARCHENGINE YES)
set(DOXYGEN_SERVER_BASED_SEARCH NO)
set(DOXYGEN_HTML_TIMESTAMP NO)
set(DOXYGEN_VERBATIM_HEADERS NO)
set(DOXYGEN_GENERATE_LATEX NO)
# No graphs, so that the output is the same with and without Graphviz.
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_CLASS_GRAPH NO)

set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_IF_UNDOCUMENTED NO)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)

doxygen_add_docs(docs ${sources} COMMENT "Making the manual")
add_custom_target(docs_sources
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${DOXYGEN_OUTPUT_DIRECTORY}/html
  COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/cmake/doc_sources.py ${sources}
  VERBATIM)
add_dependencies(docs docs_sources)
add_custom_command(TARGET docs POST_BUILD
  COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/cmake/doc_sources.py --finish
          ${DOXYGEN_OUTPUT_DIRECTORY}/html
  VERBATIM)
