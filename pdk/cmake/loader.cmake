# Run-time loading of libraries (frim_dlopen_lib and kin).
pdk_add_family(pdk_loader src/cfiloader.cpp)
