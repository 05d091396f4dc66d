# This host's names (CCmnNetwork).
pdk_add_family(pdk_network src/cmnnetwork.cpp)
