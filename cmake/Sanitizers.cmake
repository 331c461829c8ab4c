# With AC500_SANITIZE every target is checked for address errors, leaks and undefined behaviour, and stops at the first.
if(AC500_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "arm")
    # Thumb functions have odd addresses, which the alignment check takes for misaligned data.
    add_compile_options(-marm)
    add_library(ac500_user_space OBJECT ${CMAKE_CURRENT_LIST_DIR}/user_space.cpp)
    link_libraries("$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:ac500_user_space>>")
  endif()
endif()

# With AC500_CHECK_THREADS the driver and what tests/threads/ needs beside it are checked for data races.
if(AC500_CHECK_THREADS)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
