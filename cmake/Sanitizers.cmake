# With AC500_SANITIZE every target is checked for address errors, leaks and undefined behaviour, and stops at the first.
if(AC500_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "arm")
    # Thumb functions have odd addresses, which the alignment check takes for misaligned data.
    add_compile_options(-marm)
  endif()
endif()
