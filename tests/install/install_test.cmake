function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
endfunction()

file(REMOVE_RECURSE ${PREFIX} ${PREFIX}-build)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX})

run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${PREFIX}-build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${PREFIX})
run(${CMAKE_COMMAND} --build ${PREFIX}-build)
run(${PREFIX}-build/consumer)

file(GLOB_RECURSE pc ${PREFIX}/*/velmore-ews.pc)
file(READ ${pc} text)
string(REGEX REPLACE "prefix=[^\n]*" "prefix=${PREFIX}" text "${text}")  # the prefix of this test is not the configured one
file(WRITE ${pc} "${text}")
get_filename_component(directory ${pc} DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${directory} pkg-config --cflags --libs velmore-ews
  OUTPUT_VARIABLE flags RESULT_VARIABLE result OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not find velmore-ews")
endif()
separate_arguments(flags)
run(${CXX} ${CONSUMER}/hello.cpp -o ${PREFIX}-build/hello ${flags})
run(${PREFIX}-build/hello)
