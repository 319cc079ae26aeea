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
  # clang's check of virtual tables takes descriptors, and fails where tests leave none.
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    add_compile_options(-fno-sanitize=vptr)
  endif()
  add_link_options(-fsanitize=${QOR_SANITIZE})
endif()

# What Debian hardens programs and libraries with, where they are optimized: fortified calls take that.
# Sanitizers have checks of their own. Debug builds check what they ask of the standard library.
if(NOT QOR_SANITIZE)
  set(optimized $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
  add_compile_options("$<${optimized}:-fstack-protector-strong>" "$<${optimized}:-U_FORTIFY_SOURCE>"
                      "$<${optimized}:-D_FORTIFY_SOURCE=2>")
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()
add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

# Offsets and points in time have 64 bits on every machine, in the sources that alone ask the system
# for them. The others share types with ACE, which has them as the machine does. For the targets of
# the directory that calls this.
function(qor_system_sources)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/qor/platform/*.cpp
       ${PROJECT_SOURCE_DIR}/utility/src/*.cpp)
  set_source_files_properties(${sources} PROPERTIES
    COMPILE_DEFINITIONS "_FILE_OFFSET_BITS=64;_TIME_BITS=64" SKIP_PRECOMPILE_HEADERS ON)
endfunction()

function(qor_compile target)
  set_target_properties(${target} PROPERTIES CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  # As -Wconversion alone is by GCC.
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(${target} PRIVATE -Wno-sign-conversion)
  endif()
  # GCC 12 sees overlaps in the plainest sum of strings (its bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(QOR_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # __FILE__ names the source as the project does, wherever the project lies.
  target_compile_options(${target} PRIVATE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
endfunction()

# The headers that the sources of the target share, precompiled if QOR_PRECOMPILE is one of `when`.
function(qor_precompile target when)
  if(QOR_PRECOMPILE IN_LIST when)
    target_precompile_headers(${target} ${ARGN})
    # For the compiler cache.
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
      target_compile_options(${target} PRIVATE -fpch-preprocess)
    endif()
  endif()
endfunction()
