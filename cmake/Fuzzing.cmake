# The libFuzzer build (-DBODYSEG_FUZZ=ON, clang only): every library of the tree is compiled with
# the fuzzer's coverage instrumentation and with AddressSanitizer and UndefinedBehaviorSanitizer,
# so that edges inside the plug-in, the stand-ins and the engine count and every bad access
# aborts. The fuzz targets themselves add -fsanitize=fuzzer (fuzz/CMakeLists.txt).
option(BODYSEG_FUZZ "build the libFuzzer targets under fuzz/ (needs clang)" OFF)

if(BODYSEG_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR NOT CMAKE_C_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "BODYSEG_FUZZ needs clang: configure with "
                            "-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++")
    endif()
    if(BODYSEG_SANITIZE STREQUAL "")
        set(BODYSEG_SANITIZE "address-undefined" CACHE STRING "" FORCE)
    elseif(NOT BODYSEG_SANITIZE STREQUAL "address-undefined")
        message(FATAL_ERROR "BODYSEG_FUZZ runs under address-undefined, not '${BODYSEG_SANITIZE}'")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
