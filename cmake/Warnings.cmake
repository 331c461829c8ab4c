# ac500_warnings(TARGET): every warning of our own code is an error.
function(ac500_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wcast-align -Wnon-virtual-dtor
    -Woverloaded-virtual -Wundef -Wimplicit-fallthrough -Werror
    -Wno-psabi)  # a note on 32-bit ARM about compilers before GCC 7: no interface of ours passes such values
endfunction()
