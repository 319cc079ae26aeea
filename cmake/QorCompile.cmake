# How every target of the project is compiled: qor_compile(target).

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
  if(QOR_PRECOMPILE)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
  endif()
endif()

if(QOR_SANITIZE)
  add_compile_options(-fsanitize=${QOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # This check of clang opens descriptors, and fails in tests that use up all of them.
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    add_compile_options(-fno-sanitize=vptr)
  endif()
  add_link_options(-fsanitize=${QOR_SANITIZE})
endif()

# The hardening of Debian's packages. The stack protector and fortified calls are used in optimized
# builds only: fortified calls need optimization. Sanitizers have checks of their own. Debug builds also
# check calls of the standard library.
if(NOT QOR_SANITIZE)
  set(optimized $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
  add_compile_options("$<${optimized}:-fstack-protector-strong>" "$<${optimized}:-U_FORTIFY_SOURCE>"
                      "$<${optimized}:-D_FORTIFY_SOURCE=2>")
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()
add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

# Compiles the sources that call the system with offsets and times of 64 bits on every machine. The other
# sources share types with ACE, which was compiled with the machine's default sizes. Call this in each
# directory whose targets compile these sources.
function(qor_system_sources)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/qor/platform/*.cpp
       ${PROJECT_SOURCE_DIR}/utility/src/*.cpp)
  set_source_files_properties(${sources} PROPERTIES
    COMPILE_DEFINITIONS "_FILE_OFFSET_BITS=64;_TIME_BITS=64" SKIP_PRECOMPILE_HEADERS ON)
endfunction()

function(qor_compile target)
  set_target_properties(${target} PROPERTIES CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  # In clang, -Wconversion includes -Wsign-conversion; in GCC it does not.
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(${target} PRIVATE -Wno-sign-conversion)
  endif()
  # GCC 12 reports overlaps for simple concatenations of strings (GCC bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(QOR_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # __FILE__ is the path inside the project, wherever the project is.
  target_compile_options(${target} PRIVATE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
endfunction()

# qor_precompile(target "when" ...): precompiles the given headers for a target if QOR_PRECOMPILE is in
# the list `when`. The further arguments are those of target_precompile_headers.
function(qor_precompile target when)
  if(QOR_PRECOMPILE IN_LIST when)
    target_precompile_headers(${target} ${ARGN})
    # ccache needs this to cache files that use a precompiled header.
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
      target_compile_options(${target} PRIVATE -fpch-preprocess)
    endif()
  endif()
endfunction()
