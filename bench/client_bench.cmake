target_include_directories(client_bench PRIVATE ${CMAKE_SOURCE_DIR}/tools/ftm-jpeg)
