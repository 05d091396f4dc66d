# Per-node private data, device ids and configured snapshot targets.
pdk_add_family(pdk_privatedata src/cfiprivatedata.cpp src/cfiudid.cpp src/cfitargetconfig.cpp)
