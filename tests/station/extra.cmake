# The station tool's library, and its binary for the end-to-end runs.
target_link_libraries(station_tests PRIVATE ftm_station_runner)
add_dependencies(station_tests ftm-station)

# The shipped spine list against a simulated phone, as a factory would run it.
add_test(NAME station.spine_list
  COMMAND ftm-station --sim --no-color run ${CMAKE_SOURCE_DIR}/lists/spine.yaml
          --junit ${CMAKE_CURRENT_BINARY_DIR}/spine.junit.xml --json ${CMAKE_CURRENT_BINARY_DIR}/spine.json)

# Every command of the daemon, with the answers a fresh default board gives.
add_test(NAME station.full_list
  COMMAND ftm-station --sim --no-color run ${CMAKE_SOURCE_DIR}/lists/full.yaml
          --junit ${CMAKE_CURRENT_BINARY_DIR}/full.junit.xml --json ${CMAKE_CURRENT_BINARY_DIR}/full.json)

# Helpers of the live view's tests: an HTTP client and a WebDriver client.
target_sources(station_tests PRIVATE ${dir}/http_client.cpp ${dir}/webdriver.cpp)
