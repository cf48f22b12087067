# Flags that every target of this project takes, and none that a user of the library inherits.
add_library(vesko_flags INTERFACE)
target_compile_options(vesko_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
    # Source paths in messages are relative to the repository.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

if(VESKO_SANITIZE)
    target_compile_options(vesko_flags INTERFACE
        -fsanitize=${VESKO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vesko_flags INTERFACE -fsanitize=${VESKO_SANITIZE})
else()
    # A sanitizer's runtime stands in the program alone, so its names are missing in the library.
    target_link_options(vesko_flags INTERFACE -Wl,--no-undefined)
endif()
if(VESKO_COVERAGE)
    target_compile_options(vesko_flags INTERFACE --coverage)
    target_link_options(vesko_flags INTERFACE --coverage)
endif()
