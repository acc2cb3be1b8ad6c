# What is installed: one library from all rooms, the public headers, the CMake package VelmoreEWS (target Velmore::EWS, and Velmore::Simulator
# where the simulator is built) and the pkg-config files velmore-ews and velmore-ews-simulator.

include(CMakePackageConfigHelpers)

get_property(rooms GLOBAL PROPERTY VELMORE_ROOMS)
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

# Public headers, and the tables that some of them expand. What ends in _p is its room's own; what stands in internal/ is the library's.
install(DIRECTORY platform ews DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews
  FILES_MATCHING PATTERN "*.h" PATTERN "*.inc" PATTERN "*_p.h" EXCLUDE PATTERN "internal" EXCLUDE)

if(TARGET velmore_simulator)
  set_target_properties(velmore_simulator PROPERTIES EXPORT_NAME Simulator OUTPUT_NAME velmore-ews-simulator)
  target_include_directories(velmore_simulator INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews>)
  install(TARGETS velmore_simulator EXPORT VelmoreEWSTargets)
  install(TARGETS velmore-ews-simulator)
  install(FILES simulator/simulator.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews/simulator)
  install(FILES simulator/types/exchange.h simulator/types/fault.h simulator/types/options.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews/simulator/types)
  install(FILES simulator/packaging/velmore-ews-simulator.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  if(NOT WIN32)
    install(FILES simulator/packaging/velmore-ews-simulator.service DESTINATION lib/systemd/system)
    install(FILES simulator/packaging/Containerfile DESTINATION ${CMAKE_INSTALL_DATADIR}/velmore-ews)
  endif()
endif()

install(EXPORT VelmoreEWSTargets NAMESPACE Velmore:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoreEWS)
configure_package_config_file(cmake/VelmoreEWSConfig.cmake.in VelmoreEWSConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoreEWS)
write_basic_package_version_file(VelmoreEWSConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VelmoreEWSConfig.cmake ${PROJECT_BINARY_DIR}/VelmoreEWSConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoreEWS)
# From where the file lies, so that it is right below a prefix that is only chosen at the installation.
file(RELATIVE_PATH VELMORE_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" VELMORE_PC_PREFIX ${VELMORE_PC_PREFIX})
set(packages velmore-ews)
if(TARGET velmore_simulator)
  list(APPEND packages velmore-ews-simulator)
endif()
foreach(package IN LISTS packages)
  configure_file(cmake/${package}.pc.in ${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
