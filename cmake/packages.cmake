# SPDX-License-Identifier: Apache-2.0
# The packages that cpack makes of the components kits and tools; ./dev package calls it. Comes before
# all other rules of installation, so that a missing build is reported first.
install(CODE "
  foreach(file camsim camkit nodecheck libzy_image.a libzy_sharpen.a)
    if(NOT EXISTS ${CMAKE_BINARY_DIR}/\${file})
      message(FATAL_ERROR \"${CMAKE_BINARY_DIR}/\${file} is not built yet: run ./dev build first\")
    endif()
  endforeach()" COMPONENT tools)

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_COMPONENTS_ALL kits tools)
set(CPACK_PACKAGE_NAME brodax)
set(CPACK_PACKAGE_CONTACT "The maintainers <maintainers@localhost>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENT_KITS_DESCRIPTION "Image buffers, downscalers and skin-aware sharpening")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "A simulated camera framework for camera nodes, and checks of them")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_KITS_PACKAGE_NAME brodax-kits-dev)
set(CPACK_DEBIAN_KITS_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME brodax-node-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR} ${CMAKE_BINARY_DIR}/device)
include(CPack)
