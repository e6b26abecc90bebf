# The JPEG tool on the simulated board is run by the engine-choice test.
add_dependencies(client_tests ftm-jpeg-sim)
target_include_directories(client_tests PRIVATE ${CMAKE_SOURCE_DIR}/tools/ftm-jpeg)
