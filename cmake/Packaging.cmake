# The installable kit: the CMake package a host project finds, and the Debian package of the same
# install tree. The targets install themselves where they are defined; this file only describes
# the whole.
include(CMakePackageConfigHelpers)

set(BODYSEG_INSTALL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/BodySegmentation)
set(BODYSEG_INSTALL_PLUGIN ${CMAKE_INSTALL_LIBDIR}/${CMAKE_SHARED_LIBRARY_PREFIX})
string(APPEND BODYSEG_INSTALL_PLUGIN
    VLAlgoCamAIBeautyBodyDetection${CMAKE_SHARED_LIBRARY_SUFFIX})

install(EXPORT BodySegmentationTargets
    NAMESPACE BodySegmentation::
    DESTINATION ${BODYSEG_INSTALL_CMAKE_DIR})
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/BodySegmentationConfig.cmake.in
    ${CMAKE_BINARY_DIR}/BodySegmentationConfig.cmake
    INSTALL_DESTINATION ${BODYSEG_INSTALL_CMAKE_DIR}
    PATH_VARS BODYSEG_INSTALL_INCLUDE_DIR BODYSEG_INSTALL_PLUGIN BODYSEG_INSTALL_STANDIN_BASE)
# The plug-in's table layout only grows within a major version.
write_basic_package_version_file(
    ${CMAKE_BINARY_DIR}/BodySegmentationConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_BINARY_DIR}/BodySegmentationConfig.cmake
    ${CMAKE_BINARY_DIR}/BodySegmentationConfigVersion.cmake
    DESTINATION ${BODYSEG_INSTALL_CMAKE_DIR})

# `cpack -G DEB` in the build directory. The runtime libraries are Debian's own packages; the
# property store the plug-in links travels inside the kit.
set(CPACK_PACKAGE_NAME bodysegmentation)
set(CPACK_PACKAGE_VENDOR "BodySegmentation")
set(CPACK_PACKAGE_CONTACT "BodySegmentation maintainers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Camera body-segmentation plug-in with stand-in vendor runtimes and integrator tools")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "libc6, libgcc-s1, libstdc++6, android-liblog, libyuv0, libjsoncpp25, libxnnpack0, libpthreadpool0, libpng16-16, libjpeg62-turbo")
include(CPack)
