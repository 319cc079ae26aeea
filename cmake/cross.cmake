# Builds for another machine, and runs what was built where that machine's programs can run:
#   cmake --toolchain cmake/cross.cmake -D QOR_MACHINE=s390x -D QOR_SYSROOT=DIRECTORY ...
# scripts/cross.sh makes the directory from Debian's packages of that machine. With QOR_CLANG=ON the
# compiler is clang, which has all machines in one; else it is that machine's own g++. QOR_EMULATOR
# runs the programs, if this machine does not.

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

# Programs find their loader and libraries in the directory, also those that libraries need, so that
# nothing of that machine has to lie on this one.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=${QOR_SYSROOT}/${loader} -Wl,--disable-new-dtags")
set(CMAKE_BUILD_RPATH ${QOR_SYSROOT}/lib/${libraries} ${QOR_SYSROOT}/usr/lib/${libraries})
