# What is installed: one library from all rooms, the public headers, the CMake package VelmoreEWS (target Velmore::EWS, and Velmore::Simulator
# where the simulator is built) and the pkg-config file velmore-ews.

include(CMakePackageConfigHelpers)

set(rooms common xml http soap os ews)

add_library(velmore-ews)
add_library(Velmore::EWS ALIAS velmore-ews)
foreach(room IN LISTS rooms)
  target_sources(velmore-ews PRIVATE $<TARGET_OBJECTS:velmore_${room}>)
endforeach()
get_property(libraries GLOBAL PROPERTY VELMORE_ROOM_LIBRARIES)
list(REMOVE_DUPLICATES libraries)
target_link_libraries(velmore-ews PRIVATE ${libraries})
set_target_properties(velmore-ews PROPERTIES EXPORT_NAME EWS LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
target_compile_features(velmore-ews PUBLIC cxx_std_20)
target_include_directories(velmore-ews INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews>)
install(TARGETS velmore-ews EXPORT VelmoreEWSTargets)

# Public headers, and the tables that some of them expand. What ends in _p is private.
install(DIRECTORY platform ews DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews
  FILES_MATCHING PATTERN "*.h" PATTERN "*.inc" PATTERN "*_p.h" EXCLUDE)

if(TARGET velmore_simulator)
  set_target_properties(velmore_simulator PROPERTIES EXPORT_NAME Simulator OUTPUT_NAME velmore-ews-simulator)
  target_include_directories(velmore_simulator INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews>)
  install(TARGETS velmore_simulator EXPORT VelmoreEWSTargets)
  install(TARGETS velmore-ews-simulator)
  install(FILES simulator/simulator.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews/simulator)
endif()

install(EXPORT VelmoreEWSTargets NAMESPACE Velmore:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoreEWS)
configure_package_config_file(cmake/VelmoreEWSConfig.cmake.in VelmoreEWSConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoreEWS)
write_basic_package_version_file(VelmoreEWSConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VelmoreEWSConfig.cmake ${PROJECT_BINARY_DIR}/VelmoreEWSConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoreEWS)
configure_file(cmake/velmore-ews.pc.in velmore-ews.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velmore-ews.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
