# Toolchain for 32-bit ARM with floating point registers (armhf).

set(PLEXION_TRIPLET arm-linux-gnueabihf)
set(PLEXION_EMULATOR qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR arm)
# NEON with fused multiplication, as every 32-bit ARM of the last ten years has it. Debian's own programs
# do without, and a program has no way to ask that does not need the system; a maker whose
# processor lacks it builds with -mfpu=vfpv3-d16, and everything runs in plain loops.
# The compiler would also tell at every vector that its release 7 passed some arguments otherwise.
set(CMAKE_C_FLAGS_INIT "-mfpu=neon-vfpv4 -Wno-psabi")
set(CMAKE_CXX_FLAGS_INIT "-mfpu=neon-vfpv4 -Wno-psabi")

# The preset optimises as a release does: with -O1, g++ 12 forgets the upper half of a constant that it moves
# on a condition, and a key code then comes out as another.
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)
