# Screens are read back as the station reads them (and compared with PNGs).
target_sources(${name}_tests PRIVATE ${dir}/screen_support.cpp)
