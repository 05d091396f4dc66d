# Provider and FIM lists handed to the framework; string list tools.
pdk_add_family(pdk_lists src/cfilist.cpp)
