# zlib of the word size that is being built. Debian keeps the 32-bit one of an amd64 machine in /usr/lib32, and a plain
# search would take the 64-bit library for it.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  find_library(ZLIB_LIBRARY z PATHS /usr/lib32 /usr/lib/i386-linux-gnu NO_DEFAULT_PATH)
endif()
find_package(ZLIB REQUIRED)
