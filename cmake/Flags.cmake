# SPDX-License-Identifier: MIT
# Compiler flags of everything that is built here; they never reach a user's own targets.
add_library(orvex_flags INTERFACE)

if(ORVEX_DEVELOPER)
  target_compile_options(orvex_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
endif()

if(ORVEX_SANITIZE)
  target_compile_options(orvex_flags INTERFACE
    -fsanitize=${ORVEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orvex_flags INTERFACE -fsanitize=${ORVEX_SANITIZE})
endif()
