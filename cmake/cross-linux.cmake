# Cross-builds for a Linux device. Give the tool chain's prefix and the device's root with
# -DTARROW_TARGET=... -DCMAKE_SYSROOT=...; libmxml and libcfgdb are found in that root.
set(CMAKE_SYSTEM_NAME Linux)
set(TARROW_TARGET "arm-linux-gnueabihf" CACHE STRING "Prefix of the tool chain's programs")
string(REGEX MATCH "^[^-]*" CMAKE_SYSTEM_PROCESSOR ${TARROW_TARGET})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARROW_TARGET)
set(CMAKE_C_COMPILER ${TARROW_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${TARROW_TARGET}-g++)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
