# Finds Android's liblog as Debian ships it for the host (package android-liblog-dev):
# headers under /usr/include/android, the library in the multiarch "android" folder, often
# without a liblog.so link and without a pkg-config file.
#
# Provides AndroidLog_FOUND, AndroidLog_INCLUDE_DIR, AndroidLog_LIBRARY and the imported
# target AndroidLog::log.

find_path(AndroidLog_INCLUDE_DIR
    NAMES log/log.h
    PATHS /usr/include/android
    PATH_SUFFIXES android)

set(_androidlog_dirs)
if(CMAKE_LIBRARY_ARCHITECTURE)
    list(APPEND _androidlog_dirs /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)
endif()
list(APPEND _androidlog_dirs /usr/lib/android)

find_library(AndroidLog_LIBRARY
    NAMES log liblog.so.0
    HINTS ${_androidlog_dirs}
    NO_DEFAULT_PATH)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidLog
    REQUIRED_VARS AndroidLog_LIBRARY AndroidLog_INCLUDE_DIR)

if(AndroidLog_FOUND AND NOT TARGET AndroidLog::log)
    add_library(AndroidLog::log SHARED IMPORTED)
    set_target_properties(AndroidLog::log PROPERTIES
        IMPORTED_LOCATION "${AndroidLog_LIBRARY}"
        IMPORTED_SONAME "liblog.so.0"
        INTERFACE_INCLUDE_DIRECTORIES "${AndroidLog_INCLUDE_DIR}")
endif()
mark_as_advanced(AndroidLog_INCLUDE_DIR AndroidLog_LIBRARY)
