# Toolchain for 64-bit ARM; every one of them has NEON.

set(PLEXION_TRIPLET aarch64-linux-gnu)
set(PLEXION_EMULATOR qemu-aarch64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)
