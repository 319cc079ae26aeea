# A toolchain file that builds for another machine:
#   cmake --toolchain cmake/cross.cmake -D QOR_MACHINE=s390x -D QOR_SYSROOT=DIRECTORY ...
#
#   QOR_MACHINE     i386, arm64 or s390x
#   QOR_SYSROOT     a directory with Debian's packages of that machine, unpacked; scripts/cross.sh makes it
#   QOR_CLANG=ON    compiles with clang, else with the g++ that Debian has for that machine
#   QOR_EMULATOR    the program that runs the tests, if this machine cannot run the programs itself

set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QOR_MACHINE QOR_SYSROOT QOR_CLANG)
if(QOR_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QOR_EMULATOR})
endif()

if(QOR_MACHINE STREQUAL i386)
  set(CMAKE_SYSTEM_PROCESSOR i686)
  set(compiler i686-linux-gnu)
  set(libraries i386-linux-gnu)
  set(loader lib/ld-linux.so.2)
elseif(QOR_MACHINE STREQUAL arm64)
  set(CMAKE_SYSTEM_PROCESSOR aarch64)
  set(compiler aarch64-linux-gnu)
  set(libraries aarch64-linux-gnu)
  set(loader lib/ld-linux-aarch64.so.1)
elseif(QOR_MACHINE STREQUAL s390x)
  set(CMAKE_SYSTEM_PROCESSOR s390x)
  set(compiler s390x-linux-gnu)
  set(libraries s390x-linux-gnu)
  set(loader lib/ld64.so.1)
else()
  message(FATAL_ERROR "cross: no machine '${QOR_MACHINE}': i386, arm64 or s390x")
endif()

if(QOR_CLANG)
  set(CMAKE_CXX_COMPILER clang++)
  set(CMAKE_CXX_COMPILER_TARGET ${libraries})
else()
  set(CMAKE_CXX_COMPILER ${compiler}-g++)
endif()
set(CMAKE_LIBRARY_ARCHITECTURE ${libraries})
set(CMAKE_SYSROOT ${QOR_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${QOR_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs find their loader and all libraries in QOR_SYSROOT, so that no files of that machine need to be
# installed on this one. An old RPATH, unlike RUNPATH, also applies to the libraries that libraries need.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=\"${QOR_SYSROOT}/${loader}\" -Wl,--disable-new-dtags")
set(CMAKE_BUILD_RPATH ${QOR_SYSROOT}/lib/${libraries} ${QOR_SYSROOT}/usr/lib/${libraries})
