# Fails when the library's sources in Android.bp differ from cmake/HuevaneSources.cmake, when
# Android.bp names one twice, or when a test file or fuzz target has no module there. Run as: cmake -DSOURCE_DIR=<repo> -P check_android_bp_sources.cmake
set(source_pattern "(core|colormode|sources|engine|inspect)/[A-Za-z0-9_]+\\.cpp")

file(READ ${SOURCE_DIR}/cmake/HuevaneSources.cmake cmake_text)
string(REGEX MATCHALL "\\.\\./${source_pattern}" cmake_sources "${cmake_text}")
list(TRANSFORM cmake_sources REPLACE "^\\.\\./" "")

file(READ ${SOURCE_DIR}/Android.bp bp_text)
string(REGEX MATCHALL "\"${source_pattern}\"" bp_sources "${bp_text}")
list(TRANSFORM bp_sources REPLACE "\"" "")

set(bp_unique ${bp_sources})
list(REMOVE_DUPLICATES bp_unique)
list(LENGTH bp_sources bp_count)
list(LENGTH bp_unique bp_unique_count)
if(NOT bp_count EQUAL bp_unique_count)
    message(FATAL_ERROR "Android.bp lists a library source more than once: ${bp_sources}")
endif()

list(SORT cmake_sources)
list(SORT bp_unique)
if(NOT cmake_sources OR NOT bp_unique)
    message(FATAL_ERROR "no library sources found in cmake/HuevaneSources.cmake or Android.bp")
endif()
if(NOT cmake_sources STREQUAL bp_unique)
    set(only_cmake ${cmake_sources})
    list(REMOVE_ITEM only_cmake ${bp_unique})
    set(only_bp ${bp_unique})
    list(REMOVE_ITEM only_bp ${cmake_sources})
    message(FATAL_ERROR "library sources differ.\n"
                        "  only in cmake/HuevaneSources.cmake: ${only_cmake}\n"
                        "  only in Android.bp: ${only_bp}")
endif()
message(STATUS "Android.bp and cmake/HuevaneSources.cmake list the same ${bp_count} sources")

# Every test file is a cc_test and every fuzz target a cc_fuzz of its own.
file(GLOB test_files RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/tests/*_test.cpp ${SOURCE_DIR}/fuzz/fuzz_*.cpp)
foreach(test_file ${test_files})
    if(NOT bp_text MATCHES "srcs: \\[\n?[ ]*\"${test_file}\"")
        message(FATAL_ERROR "Android.bp has no module built from ${test_file}")
    endif()
endforeach()
