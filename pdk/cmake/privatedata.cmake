# Per-node private data and its manager, device ids and configured snapshot targets.
pdk_add_family(pdk_privatedata src/cfiprivatedata.cpp src/cfiprivatedatamgr.cpp src/cfiudid.cpp
               src/cfitargetconfig.cpp)
