# SPDX-License-Identifier: MIT

# Builds for another processor with Debian's cross compiler and libraries, and runs the tests under
# QEMU. `scripts/test cross` sets:
#
#   ORVEXKIT_TRIPLET   the compiler's name of the processor: aarch64-linux-gnu
#   ORVEXKIT_ROOT      the folder with the libraries
#   ORVEXKIT_EMULATOR  the path of qemu-aarch64-static
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVEXKIT_TRIPLET ORVEXKIT_ROOT ORVEXKIT_EMULATOR)

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${ORVEXKIT_TRIPLET}")
set(CMAKE_C_COMPILER "${ORVEXKIT_TRIPLET}-gcc")
set(CMAKE_CXX_COMPILER "${ORVEXKIT_TRIPLET}-g++")

set(ORVEXKIT_ROOT_LIBRARIES "${ORVEXKIT_ROOT}/usr/lib/${ORVEXKIT_TRIPLET}")
set(ORVEXKIT_ROOT_SYSTEM_LIBRARIES "${ORVEXKIT_ROOT}/lib/${ORVEXKIT_TRIPLET}")
set(ORVEXKIT_RPATH "-Wl,-rpath,\"${ORVEXKIT_ROOT_LIBRARIES}:${ORVEXKIT_ROOT_SYSTEM_LIBRARIES}\"")
set(ENV{PKG_CONFIG_LIBDIR} "${ORVEXKIT_ROOT_LIBRARIES}/pkgconfig")
set(CMAKE_CXX_FLAGS_INIT "-isystem \"${ORVEXKIT_ROOT}/usr/include/${ORVEXKIT_TRIPLET}\"")
set(CMAKE_SHARED_LINKER_FLAGS_INIT
    "-L\"${ORVEXKIT_ROOT_LIBRARIES}\" -Wl,-rpath-link,\"${ORVEXKIT_ROOT_LIBRARIES}\" ${ORVEXKIT_RPATH}")
# The programs start with the C library of that folder, which may be newer than the compiler's.
file(GLOB ORVEXKIT_LOADER "${ORVEXKIT_ROOT_LIBRARIES}/ld*.so.*"
     "${ORVEXKIT_ROOT_SYSTEM_LIBRARIES}/ld*.so.*")
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker,\"${ORVEXKIT_LOADER}\" -Wl,--allow-shlib-undefined -Wl,--disable-new-dtags ${ORVEXKIT_RPATH}")

set(CMAKE_CROSSCOMPILING_EMULATOR "${ORVEXKIT_EMULATOR}")
