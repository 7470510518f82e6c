# What the toolchain files have in common: Debian's cross compiler for ${PLEXION_TRIPLET}, whose programs
# run here under qemu's emulation of one program at a time.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${PLEXION_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PLEXION_TRIPLET}-g++)

# With a system of that processor the host's libraries come from there; without one, the C library that
# comes with the compiler is enough for qx/ and sim/.
set(PLEXION_CROSS_SYSTEM "" CACHE PATH "A Debian of the processor that is built for, or empty")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PLEXION_CROSS_SYSTEM)
if(PLEXION_CROSS_SYSTEM)
  set(CMAKE_SYSROOT ${PLEXION_CROSS_SYSTEM})
  set(CMAKE_LIBRARY_ARCHITECTURE ${PLEXION_TRIPLET})
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${PLEXION_CROSS_SYSTEM})
  set(ENV{PKG_CONFIG_LIBDIR}
      ${PLEXION_CROSS_SYSTEM}/usr/lib/${PLEXION_TRIPLET}/pkgconfig:${PLEXION_CROSS_SYSTEM}/usr/share/pkgconfig)
  set(libraries ${PLEXION_CROSS_SYSTEM})
else()
  set(libraries /usr/${PLEXION_TRIPLET})
  set(CMAKE_FIND_ROOT_PATH ${libraries})
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${PLEXION_EMULATOR} -L ${libraries})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
