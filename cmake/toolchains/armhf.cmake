# Builds for 32-bit ARM, hard-float Linux, with Debian's cross compiler.
#
# KIV_SYSROOT names a system root of the target architecture. The system root contains Qt Core and the C and C++
# libraries; scripts/armhf-root makes one. Programs run on the building machine under emulation.
set(KIV_SYSROOT "" CACHE PATH "System root of the target")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KIV_SYSROOT)
if(NOT KIV_SYSROOT OR NOT IS_DIRECTORY ${KIV_SYSROOT}/usr)
    message(FATAL_ERROR "KIV_SYSROOT names no system root; scripts/armhf-root makes one")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

set(CMAKE_SYSROOT ${KIV_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${KIV_SYSROOT} ${CMAKE_PREFIX_PATH}) # paths that a caller adds are for the target, too
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Qt's tools (for example moc) run on the building machine.
set(QT_HOST_PATH /usr CACHE PATH "Qt of the building machine")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${KIV_SYSROOT})
