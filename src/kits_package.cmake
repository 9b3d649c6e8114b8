# SPDX-License-Identifier: Apache-2.0
# Installs the kits for other programs: find_package(brodax_kits) defines the targets
# brodax_kits::zy_image and brodax_kits::zy_sharpen, and pkg-config finds brodax_kits.
include(CMakePackageConfigHelpers)
set(ZY_KIT_INCLUDES ${CMAKE_INSTALL_INCLUDEDIR}/brodax_kits)
set(ZY_KIT_PACKAGE ${CMAKE_INSTALL_LIBDIR}/cmake/brodax_kits)
install(TARGETS zy_image zy_sharpen EXPORT brodax_kits
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT kits
  INCLUDES DESTINATION ${ZY_KIT_INCLUDES})
install(FILES image/resize.h image/zy_copy_buffer.h image/zy_image_buffer.h
  DESTINATION ${ZY_KIT_INCLUDES}/image COMPONENT kits)
install(FILES sharpen/array_helpers.h sharpen/filter_corr3x3.h sharpen/sharpen_y.h sharpen/skin_map.h
  DESTINATION ${ZY_KIT_INCLUDES}/sharpen COMPONENT kits)
install(EXPORT brodax_kits FILE brodax_kits-config.cmake NAMESPACE brodax_kits::
  DESTINATION ${ZY_KIT_PACKAGE} COMPONENT kits)
write_basic_package_version_file(brodax_kits-config-version.cmake COMPATIBILITY SameMajorVersion)
file(RELATIVE_PATH ZY_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/brodax_kits.pc.in brodax_kits.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/brodax_kits-config-version.cmake
  DESTINATION ${ZY_KIT_PACKAGE} COMPONENT kits)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/brodax_kits.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT kits)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/brodax_kits COMPONENT kits)
