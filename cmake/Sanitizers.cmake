# Applies VELTRANE_SANITIZE to every target of the build, so the library, its tests and tools agree.
if(VELTRANE_SANITIZE)
  list(JOIN VELTRANE_SANITIZE "," sanitizers)
  add_compile_options(-fsanitize=${sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${sanitizers})
endif()
