# What is installed: one library from all rooms, the public headers, the simulator where it is built, the CMake package VelmoreEWS (components EWS and Simulator, targets
# Velmore::EWS and Velmore::Simulator), the pkg-config files velmore-ews and velmore-ews-simulator, the licence, man pages and examples; and the packages that CPack makes of it.

include(CMakePackageConfigHelpers)

# velmore_one_library(<target> <STATIC|SHARED>): the library as programs link it, of the objects of all rooms.
function(velmore_one_library target type)
  get_property(rooms GLOBAL PROPERTY VELMORE_ROOMS)
  add_library(${target} ${type})
  foreach(room IN LISTS rooms)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:velmore_${room}>)
  endforeach()
  get_property(libraries GLOBAL PROPERTY VELMORE_ROOM_LIBRARIES)
  list(REMOVE_DUPLICATES libraries)
  list(REMOVE_ITEM libraries nlohmann_json::nlohmann_json)  # headers alone, which are compiled in
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME velmore-ews
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  if(type STREQUAL "SHARED")
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:${libraries}>)  # whoever links it needs none of them
    if(NOT WIN32 AND NOT APPLE)
      target_link_options(${target} PRIVATE LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/velmore-ews.map)
      set_target_properties(${target} PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/velmore-ews.map)
    endif()
  else()
    target_link_libraries(${target} PRIVATE ${libraries})
  endif()
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews>)
endfunction()

# With BUILD_SHARED_LIBS the shared library is Velmore::EWS, and the static one, which costs no compiling, stands beside it as Velmore::EWSStatic; else the static one is Velmore::EWS.
# A DLL would have to name what it exports in every header: on Windows the library is static.
if(BUILD_SHARED_LIBS AND WIN32)
  message(WARNING "On Windows Velmore EWS is a static library; BUILD_SHARED_LIBS is ignored for it.")
endif()
if(BUILD_SHARED_LIBS AND NOT WIN32)
  set(VELMORE_SHARED ON)
  velmore_one_library(velmore-ews SHARED)
  velmore_one_library(velmore-ews-static STATIC)
  set_target_properties(velmore-ews-static PROPERTIES EXPORT_NAME EWSStatic)
  set(static velmore-ews-static)
else()
  set(VELMORE_SHARED OFF)
  velmore_one_library(velmore-ews STATIC)
  set(static velmore-ews)
endif()
set_target_properties(velmore-ews PROPERTIES EXPORT_NAME EWS)
add_library(Velmore::EWS ALIAS velmore-ews)
if(TARGET velmore_simulator)
  add_library(Velmore::Simulator ALIAS velmore_simulator)
  set_target_properties(velmore_simulator PROPERTIES EXPORT_NAME Simulator OUTPUT_NAME velmore-ews-simulator)
  target_include_directories(velmore_simulator INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews>)
endif()
if(NOT VELMORE_INSTALL)
  return()
endif()

set(include ${CMAKE_INSTALL_INCLUDEDIR}/velmore-ews)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoreEWS)
set(doc ${CMAKE_INSTALL_DATADIR}/doc)

# ---- The library

install(TARGETS velmore-ews EXPORT VelmoreEWSTargets
  RUNTIME COMPONENT runtime LIBRARY COMPONENT runtime NAMELINK_COMPONENT development ARCHIVE COMPONENT development)
install(EXPORT VelmoreEWSTargets NAMESPACE Velmore:: DESTINATION ${package} COMPONENT development)
if(VELMORE_SHARED)
  install(TARGETS velmore-ews-static EXPORT VelmoreEWSStaticTargets ARCHIVE COMPONENT development)
  install(EXPORT VelmoreEWSStaticTargets NAMESPACE Velmore:: DESTINATION ${package} COMPONENT development)
endif()

# Public headers, and the tables that some of them expand. What ends in _p is its room's own; what stands in internal/ is the library's.
install(DIRECTORY platform ews DESTINATION ${include} COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.inc" PATTERN "*_p.h" EXCLUDE PATTERN "internal" EXCLUDE)
install(FILES velmore/ews.h DESTINATION ${include}/velmore COMPONENT development)
install(FILES LICENSE DESTINATION ${doc}/libvelmore-ews-dev RENAME copyright COMPONENT development)
install(FILES README.md CHANGELOG.md DESTINATION ${doc}/libvelmore-ews-dev COMPONENT development)
if(VELMORE_SHARED)
  install(FILES LICENSE DESTINATION ${doc}/libvelmore-ews${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} RENAME copyright COMPONENT runtime)
endif()
# The examples build against what is installed.
install(DIRECTORY examples/ DESTINATION ${doc}/libvelmore-ews-dev/examples COMPONENT development
  FILES_MATCHING PATTERN "*.cpp" PATTERN "*.h" PATTERN "README.md" REGEX "/installed$" EXCLUDE)
install(FILES examples/installed/CMakeLists.txt DESTINATION ${doc}/libvelmore-ews-dev/examples COMPONENT development)

# ---- The simulator

if(TARGET velmore-ews-simulator)
  install(TARGETS velmore_simulator EXPORT VelmoreSimulatorTargets ARCHIVE COMPONENT simulator)
  install(EXPORT VelmoreSimulatorTargets NAMESPACE Velmore:: DESTINATION ${package} COMPONENT simulator)
  install(TARGETS velmore-ews-simulator RUNTIME COMPONENT simulator)
  install(FILES simulator/simulator.h DESTINATION ${include}/simulator COMPONENT simulator)
  install(FILES simulator/types/exchange.h simulator/types/fault.h simulator/types/options.h DESTINATION ${include}/simulator/types COMPONENT simulator)
  install(FILES velmore/simulator.h DESTINATION ${include}/velmore COMPONENT simulator)
  install(FILES simulator/packaging/velmore-ews-simulator.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT simulator)
  install(DIRECTORY simulator/samples DESTINATION ${CMAKE_INSTALL_DATADIR}/velmore-ews COMPONENT simulator)
  install(FILES LICENSE DESTINATION ${doc}/velmore-ews-simulator RENAME copyright COMPONENT simulator)
  if(NOT WIN32)
    install(FILES simulator/packaging/velmore-ews-simulator.service DESTINATION lib/systemd/system COMPONENT simulator)
    install(FILES simulator/packaging/Containerfile DESTINATION ${CMAKE_INSTALL_DATADIR}/velmore-ews COMPONENT simulator)
  endif()
endif()

# ---- Finding them

get_property(libraries GLOBAL PROPERTY VELMORE_ROOM_LIBRARIES)
configure_package_config_file(cmake/VelmoreEWSConfig.cmake.in VelmoreEWSConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(VelmoreEWSConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VelmoreEWSConfig.cmake ${PROJECT_BINARY_DIR}/VelmoreEWSConfigVersion.cmake DESTINATION ${package} COMPONENT development)

# From where the file lies, so that it is right below a prefix that is only chosen at the installation.
file(RELATIVE_PATH VELMORE_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" VELMORE_PC_PREFIX ${VELMORE_PC_PREFIX})
# What a static library is built with must be linked by name; a shared one knows it.
set(VELMORE_PC_PRIVATE "")
if(VELMORE_SHARED)
  set(VELMORE_PC_PRIVATE .private)
endif()
configure_file(cmake/velmore-ews.pc.in velmore-ews.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velmore-ews.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
if(TARGET velmore_simulator)
  configure_file(cmake/velmore-ews-simulator.pc.in velmore-ews-simulator.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/velmore-ews-simulator.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT simulator)
endif()

include(cmake/VelmorePackages.cmake)
