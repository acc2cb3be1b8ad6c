find_package(Python3 REQUIRED COMPONENTS Interpreter)

# Several sources of a test program as one unit of compilation, where VELMORE_BATCH_TESTS says so: headers and templates then cost once a batch. cmake/batches.py keeps apart what would clash, by what
# stands in the sources when CMake runs.
function(velmore_batch_tests program sources)
  list(FILTER sources INCLUDE REGEX "Test\\.cpp$")
  list(TRANSFORM sources REPLACE "^([^/].*)$" "${CMAKE_CURRENT_SOURCE_DIR}/\\1")
  list(JOIN sources "\n" lines)
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${program}_sources.txt "${lines}\n")
  execute_process(COMMAND ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/cmake/batches.py INPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/${program}_sources.txt OUTPUT_VARIABLE batches
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE "\n" ";" batches "${batches}")
  foreach(line IN LISTS batches)
    string(REGEX MATCH "^([0-9]+) (.*)$" line "${line}")
    set_source_files_properties(${CMAKE_MATCH_2} PROPERTIES UNITY_GROUP batch${CMAKE_MATCH_1})
  endforeach()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${program} PRIVATE -Wno-subobject-linkage)  # a fixture of an anonymous namespace, in a file that the batch includes
  endif()
  set_target_properties(${program} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
