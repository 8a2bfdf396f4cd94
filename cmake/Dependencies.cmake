# Every dependency comes from Debian's packages (scripts/setup.sh installs them). Each is wrapped
# in an imported target named dep::<name> so that the areas never spell paths themselves.
include(GNUInstallDirs)

function(bodyseg_import name header library)
    cmake_parse_arguments(ARG "" "" "HINTS;INCLUDE_HINTS" ${ARGN})
    find_path(${name}_INCLUDE_DIR ${header} HINTS ${ARG_INCLUDE_HINTS})
    find_library(${name}_LIBRARY NAMES ${library} HINTS ${ARG_HINTS})
    if(NOT ${name}_INCLUDE_DIR OR NOT ${name}_LIBRARY)
        message(FATAL_ERROR "${name} not found (header ${header}, library ${library}): run scripts/setup.sh")
    endif()
    add_library(dep::${name} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(dep::${name} PROPERTIES
        IMPORTED_LOCATION ${${name}_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${${name}_INCLUDE_DIR})
endfunction()

if(CMAKE_LIBRARY_ARCHITECTURE)
    set(_multiarch_lib /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
else()
    set(_multiarch_lib /usr/lib)
endif()

# Android's liblog, as Debian packages it for Linux hosts.
set(BODYSEG_LIBLOG_DIR ${_multiarch_lib}/android CACHE PATH "directory of Debian's liblog.so")
bodyseg_import(log android/log.h log HINTS ${BODYSEG_LIBLOG_DIR} INCLUDE_HINTS /usr/include/android)

bodyseg_import(yuv libyuv.h yuv)
find_package(jsoncpp CONFIG REQUIRED)
add_library(dep::jsoncpp INTERFACE IMPORTED GLOBAL)
target_link_libraries(dep::jsoncpp INTERFACE jsoncpp_lib)

bodyseg_import(xnnpack xnnpack.h XNNPACK)
bodyseg_import(pthreadpool pthreadpool.h pthreadpool)
find_package(FlatBuffers CONFIG REQUIRED)
add_library(dep::flatbuffers INTERFACE IMPORTED GLOBAL)
target_link_libraries(dep::flatbuffers INTERFACE flatbuffers::flatbuffers_shared)
find_package(PNG REQUIRED)
find_package(JPEG REQUIRED)
find_package(Threads REQUIRED)

if(BODYSEG_BUILD_TESTS)
    find_package(GTest CONFIG REQUIRED)
endif()
if(BODYSEG_BUILD_BENCH)
    find_package(benchmark CONFIG REQUIRED)
endif()
