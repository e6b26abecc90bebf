# The JPEG tool on the simulated board is run by the engine-choice test.
add_dependencies(client_tests ftm-jpeg-sim)
