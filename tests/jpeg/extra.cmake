# libjpeg-turbo checks our files; it is linked into the tests only.
find_package(JPEG REQUIRED)
target_link_libraries(jpeg_tests PRIVATE JPEG::JPEG)
target_include_directories(jpeg_tests PRIVATE ${CMAKE_SOURCE_DIR}/tools/ftm-jpeg)
add_dependencies(jpeg_tests ftm-jpeg)
# Debian keeps libjpeg's jconfig.h in the multiarch folder, which the cross
# compiler does not search by itself.
if(CMAKE_CROSSCOMPILING)
  target_include_directories(jpeg_tests SYSTEM PRIVATE ${JPEG_INCLUDE_DIRS}/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
