# SPDX-License-Identifier: MIT
# Compiler flags of everything that is built here; they never reach a user's own targets.
add_library(orvex_flags INTERFACE)

if(ORVEX_DEVELOPER)
  target_compile_options(orvex_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
endif()

# Hardening costs little and keeps a mistake from becoming a way in. Fortified calls need an
# optimising build, and the sanitizers replace them.
if(ORVEX_HARDEN AND NOT ORVEX_SANITIZE)
  target_compile_options(orvex_flags INTERFACE -fstack-protector-strong)
  target_compile_options(orvex_flags INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
  target_link_options(orvex_flags INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()

if(ORVEX_SANITIZE)
  target_compile_options(orvex_flags INTERFACE
    -fsanitize=${ORVEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orvex_flags INTERFACE -fsanitize=${ORVEX_SANITIZE})
endif()
