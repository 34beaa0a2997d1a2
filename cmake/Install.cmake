# What `cmake --install` adds to the library and noxdb (their own rules stand beside them):
# the public headers, the GraphicsMagick libraries they were built with, and the package
# files for find_package(NoxDbImport) and pkg-config.
include(CMakePackageConfigHelpers)

set(NOX_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/noxdbimport)
set(NOX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/NoxDbImport)

# The exported entry points and the session types they take, with the paths they include
# each other by; the importers and their internals stay private.
set(NOX_PUBLIC_HEADERS
  import/NoxDbImport.h import/db/Database.h
  db/FileState.h db/NDBConstants.h db/NDBFile.h db/NNMHAddons.h db/NOFChecksum.h db/NPBM.h
  db/NoxDbI.h db/Token.h db/Uuid.h db/storage/Store.h
  util/tagSIZE.h)
foreach(header ${NOX_PUBLIC_HEADERS})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${NOX_INCLUDE_DIR}/${folder})
endforeach()

# GraphicsMagick is our own 8-bit build in the building user's home, which other users may
# not enter: a copy goes with the library, found through its run path, and the copy of
# Magick++ finds its core beside it rather than in that home.
set(gm_private ${CMAKE_INSTALL_LIBDIR}/${NOX_INSTALL_PRIVATE_LIBDIR})
foreach(gm_dir ${GraphicsMagick_LIBRARY_DIRS})
  file(GLOB gm_libraries ${gm_dir}/libGraphicsMagick.so.* ${gm_dir}/libGraphicsMagick++.so.*)
  install(FILES ${gm_libraries} DESTINATION ${gm_private})
endforeach()
install(CODE "
  file(GLOB installed \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${gm_private}/libGraphicsMagick*.so.*\")
  foreach(library \${installed})
    if(NOT IS_SYMLINK \${library})
      unset(old_rpath)
      unset(old_runpath)
      file(READ_ELF \${library} RPATH old_rpath RUNPATH old_runpath)
      if(old_rpath OR old_runpath)
        file(RPATH_SET FILE \${library} NEW_RPATH \"\\\$ORIGIN\")
      endif()
    endif()
  endforeach()")

set(NOX_LIBRARY_FILE ${CMAKE_SHARED_LIBRARY_PREFIX}NoxDbImport${CMAKE_SHARED_LIBRARY_SUFFIX}.${PROJECT_VERSION})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/NoxDbImportConfig.cmake.in
  ${PROJECT_BINARY_DIR}/NoxDbImportConfig.cmake
  INSTALL_DESTINATION ${NOX_CMAKE_DIR} PATH_VARS CMAKE_INSTALL_LIBDIR NOX_INCLUDE_DIR)
# Before 1.0 only releases of the same minor number share an interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NoxDbImportConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/NoxDbImportConfig.cmake ${PROJECT_BINARY_DIR}/NoxDbImportConfigVersion.cmake
  DESTINATION ${NOX_CMAKE_DIR})

# The .pc file finds the prefix from where it lies, so that the tree can be installed anywhere.
file(RELATIVE_PATH NOX_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" NOX_PC_TO_PREFIX "${NOX_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/noxdbimport.pc.in ${PROJECT_BINARY_DIR}/noxdbimport.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/noxdbimport.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
