# Third-party libraries. All come from Debian packages, except GraphicsMagick, which
# scripts/setup.sh builds at 8-bit quantum into a cache folder outside the tree.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

set(NOX_GM_PREFIX "$ENV{HOME}/.cache/noxdbimport/graphicsmagick-q8"
    CACHE PATH "Prefix of the 8-bit-quantum GraphicsMagick build")
set(ENV{PKG_CONFIG_PATH} "${NOX_GM_PREFIX}/lib/pkgconfig:$ENV{PKG_CONFIG_PATH}")
pkg_check_modules(GraphicsMagick REQUIRED IMPORTED_TARGET GraphicsMagick++)
# pkg-config names the library before its folder; give the folder to every user of the target.
set_property(TARGET PkgConfig::GraphicsMagick APPEND PROPERTY
  INTERFACE_LINK_DIRECTORIES ${GraphicsMagick_LIBRARY_DIRS})

# The importers export pixels as 8-bit channels and their icon arithmetic assumes it.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_INCLUDES ${GraphicsMagick_INCLUDE_DIRS})
set(CMAKE_REQUIRED_FLAGS ${GraphicsMagick_CFLAGS_OTHER})
check_cxx_source_compiles("
#include <Magick++.h>
#if QuantumDepth != 8
#error not 8-bit quantum
#endif
int main() { return 0; }" NOX_GM_QUANTUM_8)
unset(CMAKE_REQUIRED_INCLUDES)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT NOX_GM_QUANTUM_8)
  message(FATAL_ERROR
    "GraphicsMagick at ${NOX_GM_PREFIX} is not built with 8-bit quantum (QuantumDepth 8). "
    "Run scripts/setup.sh, or point NOX_GM_PREFIX at a build configured with --with-quantum-depth=8.")
endif()

find_package(SQLite3 REQUIRED)
find_package(PostgreSQL REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(GTest REQUIRED)
find_package(CLI11 CONFIG REQUIRED)
find_package(OpenEXR CONFIG REQUIRED)
find_package(Imath CONFIG REQUIRED)
find_package(pugixml CONFIG REQUIRED)
pkg_check_modules(LZ4 IMPORTED_TARGET liblz4)
pkg_check_modules(ZSTD IMPORTED_TARGET libzstd)

# libsquish and stb ship no CMake package files.
find_path(SQUISH_INCLUDE_DIR squish.h REQUIRED)
find_library(SQUISH_LIBRARY squish REQUIRED)
add_library(nox::squish UNKNOWN IMPORTED)
set_target_properties(nox::squish PROPERTIES IMPORTED_LOCATION ${SQUISH_LIBRARY}
  INTERFACE_INCLUDE_DIRECTORIES ${SQUISH_INCLUDE_DIR})

find_path(STB_INCLUDE_DIR stb_image.h PATH_SUFFIXES stb REQUIRED)
find_library(STB_LIBRARY stb REQUIRED)
add_library(nox::stb UNKNOWN IMPORTED)
set_target_properties(nox::stb PROPERTIES IMPORTED_LOCATION ${STB_LIBRARY}
  INTERFACE_INCLUDE_DIRECTORIES ${STB_INCLUDE_DIR})
