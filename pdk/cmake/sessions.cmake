# Sessions and split nodes; object-control argument lists.
pdk_add_family(pdk_sessions src/cfisessionmgr.cpp src/cfiobjctlargs.cpp)
