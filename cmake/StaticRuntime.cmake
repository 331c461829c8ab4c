# AC500_STATIC_RUNTIME is for panels whose libstdc++ or libgcc is older than the compiler, or missing: the library then
# carries both in itself, still shows nothing but its exports, and needs QtCore and the C library alone. On 32-bit ARM it
# asks no more of the C library than before; on x86-64 the compiler's own libgcc asks for a much newer one
# (abi/versions.txt has the figures of both kinds).
option(AC500_STATIC_RUNTIME "Link libstdc++ and libgcc into the driver, for panels with old ones or none" OFF)

if(AC500_STATIC_RUNTIME)
  target_sources(ac500driver PRIVATE ${CMAKE_CURRENT_LIST_DIR}/single_threaded.cpp)
  target_link_options(ac500driver PRIVATE -static-libstdc++ -static-libgcc)
endif()
