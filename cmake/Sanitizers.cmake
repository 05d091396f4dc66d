if(HITACHIFI_SANITIZE)
  set(_san -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_compile_options(${_san})
  add_link_options(${_san})
endif()

# Fuzz builds instrument everything for coverage; the fuzz targets add the
# libFuzzer driver themselves.
if(HITACHIFI_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
