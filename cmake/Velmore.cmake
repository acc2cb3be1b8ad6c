# What every folder's CMakeLists.txt builds on: one set of compiler settings, one way to declare a room of the library, one
# way to declare tests.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL ON)  # found in the folder of a room, linked again into the one library
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_program(VELMORE_CCACHE ccache)
if(VELMORE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${VELMORE_CCACHE})
endif()

# Programs that are linked to be run here and now; a library that is installed gets the linker of the system.
if(VELMORE_FAST_LINKER AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  find_program(VELMORE_MOLD mold)
  if(VELMORE_MOLD)
    string(APPEND CMAKE_EXE_LINKER_FLAGS " -fuse-ld=mold")
  endif()
endif()

find_package(Threads REQUIRED)

# Windows' headers as small as they get, without macros for min and max, for Windows 10.
if(WIN32)
  add_compile_definitions(WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
endif()

add_library(velmore_warnings INTERFACE)
if(MSVC)
  # Macros with lists of arguments as the standard has them, __cplusplus as it is, room for the tables' many sections.
  add_compile_options(/Zc:preprocessor /Zc:__cplusplus /bigobj)
  target_compile_options(velmore_warnings INTERFACE /W4 /wd4250 /wd4068 /utf-8)  # 4250: inheritance by dominance is how interfaces are met; 4068: visibility is for other systems
else()
  target_compile_options(velmore_warnings INTERFACE -Wall -Wextra -Wconversion)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(velmore_warnings INTERFACE -Wno-restrict)  # GCC 12 sees overlaps in std::string that are none
    if(VELMORE_SANITIZE)  # and, when it instruments, uninitialized members in <regex>
      target_compile_options(velmore_warnings INTERFACE -Wno-maybe-uninitialized)
    endif()
    if(VELMORE_SANITIZE STREQUAL "thread")  # Boost.Asio's fences, which ThreadSanitizer does not see
      target_compile_options(velmore_warnings INTERFACE -Wno-tsan)
    endif()
  endif()
endif()

if(VELMORE_SANITIZE)
  add_compile_options(-fsanitize=${VELMORE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${VELMORE_SANITIZE})
endif()

# velmore_declare_room(<name> <depends>)
# Writes down what the calling folder may include, for the test of the rooms: its own files and those of the named rooms, nothing else.
function(velmore_declare_room name depends)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  string(JOIN "," depends ${depends})
  set_property(GLOBAL APPEND PROPERTY VELMORE_DECLARED_ROOMS "${name} ${folder} ${depends}")
endfunction()

# velmore_room(<name> [DEPENDS rooms...] [PRIVATE libraries...] [SUBFOLDERS folders...])
# One room of the library: all sources of the calling folder (and of SUBFOLDERS) as a static library velmore_<name>, which becomes part of the one
# installed library. The arrows between rooms are the DEPENDS; a test holds every include against them.
function(velmore_room name)
  cmake_parse_arguments(ROOM "" "" "DEPENDS;PRIVATE;SUBFOLDERS" ${ARGN})
  velmore_declare_room(${name} "${ROOM_DEPENDS}")
  file(GLOB sources CONFIGURE_DEPENDS *.cpp *.h)
  foreach(folder IN LISTS ROOM_SUBFOLDERS)
    file(GLOB more CONFIGURE_DEPENDS ${folder}/*.cpp ${folder}/*.h)
    list(APPEND sources ${more})
  endforeach()
  add_library(velmore_${name} STATIC ${sources})
  target_include_directories(velmore_${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  foreach(room IN LISTS ROOM_DEPENDS)
    if(TARGET velmore_${room})  # a room of data has nothing to link
      target_link_libraries(velmore_${name} PUBLIC velmore_${room})
    endif()
  endforeach()
  target_link_libraries(velmore_${name} PRIVATE velmore_warnings ${ROOM_PRIVATE})
  set_property(GLOBAL APPEND PROPERTY VELMORE_ROOMS ${name})
  set_property(GLOBAL APPEND PROPERTY VELMORE_ROOM_LIBRARIES ${ROOM_PRIVATE})
endfunction()

# velmore_add_tests(<name> LIBRARIES ... [EXCEPT files...] [THREADS files...] [LABEL threads])
# All *Test.cpp of the calling folder but those that are excepted as one program, each test a CTest of its own. Those named *ThreadsTest.cpp, and those that THREADS names, are a
# program apart, labelled "threads": what ThreadSanitizer is to look at (target threads_tests, ctest -L threads). With LABEL it looks at all of the room's.
function(velmore_add_tests name)
  cmake_parse_arguments(TESTS "" "LABEL" "LIBRARIES;EXCEPT;THREADS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *Test.cpp)
  set(system posix)
  if(WIN32)
    set(system win)
  endif()
  file(GLOB own CONFIGURE_DEPENDS ${system}/*Test.cpp)  # what one of the systems has alone
  list(APPEND sources ${own})
  foreach(file IN LISTS TESTS_EXCEPT)
    list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  endforeach()
  file(GLOB support CONFIGURE_DEPENDS *TestSupport.cpp *TestSupport.h)
  set(threads ${sources})
  list(FILTER threads INCLUDE REGEX "ThreadsTest\\.cpp$")
  list(FILTER sources EXCLUDE REGEX "ThreadsTest\\.cpp$")
  foreach(file IN LISTS TESTS_THREADS)
    list(APPEND threads ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  endforeach()
  if(sources)
    velmore_test_program(${name}_tests ${name}. "${TESTS_LABEL}" "${sources};${support}" "${TESTS_LIBRARIES}")
  endif()
  if(threads)
    velmore_test_program(${name}_threads_tests ${name}. threads "${threads};${support}" "${TESTS_LIBRARIES}")
  endif()
endfunction()

# On Windows: with what tests take from POSIX, with the list of what cannot be tested there, and in a few pieces instead of a process a test.
function(velmore_windows_test_program program prefix label libraries)
  target_sources(${program} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/win/SkipListener.cpp $<TARGET_OBJECTS:velmore_posix_for_tests>)
  target_include_directories(${program} PRIVATE ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_definitions(${program} PRIVATE VELMORE_SKIPPED="${PROJECT_SOURCE_DIR}/tests/support/win/skipped.txt")
  target_link_libraries(${program} PRIVATE velmore_warnings velmore_posix_for_tests ${libraries} GTest::gmock GTest::gtest_main)
  velmore_test_pieces(${program} ${prefix} "${label}" 4)
endfunction()

# The tests of a program in so many processes, each a CTest, with something more in the environment if it is named.
function(velmore_test_pieces program prefix label pieces)
  if(program MATCHES "_threads_tests$")
    string(APPEND prefix "threads")
  endif()
  math(EXPR last "${pieces} - 1")
  foreach(piece RANGE ${last})
    add_test(NAME ${prefix}${piece} COMMAND ${program} --gtest_brief=1)
    set_tests_properties(${prefix}${piece} PROPERTIES TIMEOUT 900 ENVIRONMENT "GTEST_TOTAL_SHARDS=${pieces};GTEST_SHARD_INDEX=${piece};${ARGN}")
    if(label)
      set_tests_properties(${prefix}${piece} PROPERTIES LABELS ${label})
    endif()
  endforeach()
endfunction()

# Windows has two HTTP clients: the tests of a program that talk to servers run over WinHTTP, and once more over WinINet.
function(velmore_windows_over_wininet program prefix)
  velmore_test_pieces(${program} ${prefix} "" 4 VELMORE_TEST_WININET=1)
endfunction()

# velmore_test_program(<program> <prefix of its tests> <label or nothing> <sources> <libraries>)
function(velmore_test_program program prefix label sources libraries)
  add_executable(${program} ${sources} $<TARGET_OBJECTS:velmore_test_listeners>)
  target_compile_options(${program} PRIVATE ${VELMORE_TEST_OPTIONS})
  if(VELMORE_BATCH_TESTS)
    velmore_batch_tests(${program} "${sources}")
  endif()
  if(label)
    add_dependencies(${label}_tests ${program})
  endif()
  if(WIN32)
    velmore_windows_test_program(${program} ${prefix} "${label}" "${libraries}")
    return()
  endif()
  target_include_directories(${program} PRIVATE ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${program} PRIVATE velmore_warnings ${libraries} GTest::gmock GTest::gtest_main)
  if(VELMORE_TEST_PIECES)
    velmore_test_pieces(${program} ${prefix} "${label}" ${VELMORE_TEST_PIECES})
    return()
  endif()
  set(properties TIMEOUT 300)
  if(label)
    list(APPEND properties LABELS ${label})
  endif()
  gtest_discover_tests(${program} TEST_PREFIX ${prefix} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()
