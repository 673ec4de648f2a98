# Toolchain file: 64-bit ARM with Debian's cross compiler; programs run under QEMU's user-mode emulation. Libraries are
# the arm64 packages installed beside the machine's own (scripts/checks/arm.sh installs all of it).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
# The CMake package of OpenCV knows the machine's own architecture only.
list(APPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}/aarch64")
# CMake's search for OpenSSL starts from what pkg-config knows of this machine's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
