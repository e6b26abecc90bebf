# Screens are read back through the screenshot library (and compared with PNGs).
target_sources(${name}_tests PRIVATE ${dir}/screen_support.cpp)
target_link_libraries(${name}_tests PRIVATE ftm_screenshot)
