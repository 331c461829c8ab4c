# ac500_warnings(TARGET): the warnings that our own code is held to. They are errors in the presets we work with
# (CMAKE_COMPILE_WARNING_AS_ERROR) and only told elsewhere: an SDK's compiler may have warnings of its own. All of these are
# known to compilers from GCC 4.8 on.
function(ac500_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wcast-align -Wnon-virtual-dtor
    -Woverloaded-virtual -Wundef
    -Wno-psabi)  # a note on 32-bit ARM about compilers before GCC 7: no interface of ours passes such values
endfunction()
