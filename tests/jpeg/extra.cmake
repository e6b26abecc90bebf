# libjpeg-turbo checks our files; it is linked into the tests only.
find_package(JPEG REQUIRED)
# The library reaches the OS through plat::, so a platform follows it.
target_link_libraries(jpeg_tests PRIVATE JPEG::JPEG ftm_jpeg platform_sim)
target_include_directories(jpeg_tests PRIVATE ${CMAKE_SOURCE_DIR}/tools/ftm-jpeg)
add_dependencies(jpeg_tests ftm-jpeg)
