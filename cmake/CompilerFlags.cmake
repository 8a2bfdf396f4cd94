# Warnings are errors everywhere; product code is built with hidden visibility and an export map
# decides what leaves the plug-in.
add_compile_options(-Wall -Wextra -Werror)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(BODYSEG_SANITIZE STREQUAL "address-undefined")
    set(_san -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_compile_options(${_san})
    add_link_options(${_san})
elseif(BODYSEG_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT BODYSEG_SANITIZE STREQUAL "")
    message(FATAL_ERROR "unknown BODYSEG_SANITIZE value '${BODYSEG_SANITIZE}'")
endif()
