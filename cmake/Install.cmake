include(CMakePackageConfigHelpers)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/KXCore)
install(TARGETS kxcore EXPORT KXCoreTargets FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KXCore)
if(TARGET kxcore_avx2)
    install(TARGETS kxcore_avx2 LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
# The headers refer to the pages on behaviour, these to the others, and all to the samples, beside the pages as here.
install(FILES docs/behaviour.md docs/operations.md docs/performance.md docs/recipes.md
    docs/geometry.jpg docs/retouching.jpg docs/text.jpg docs/tones.jpg
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(DIRECTORY docs/behaviour DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(FILES examples/recipes.cpp examples/TextTool.h examples/LivePreview.h DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(DIRECTORY examples/tour DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(EXPORT KXCoreTargets NAMESPACE KXCore:: DESTINATION ${package})
configure_package_config_file(cmake/KXCoreConfig.cmake.in ${PROJECT_BINARY_DIR}/KXCoreConfig.cmake
    INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KXCoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KXCoreConfig.cmake ${PROJECT_BINARY_DIR}/KXCoreConfigVersion.cmake
    DESTINATION ${package})
# Relative to the file itself, so that the installed tree may be moved.
file(RELATIVE_PATH KXCORE_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" KXCORE_PC_TO_PREFIX "${KXCORE_PC_TO_PREFIX}")
configure_file(cmake/kxcore.pc.in ${PROJECT_BINARY_DIR}/kxcore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kxcore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
