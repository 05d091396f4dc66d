# Trace log.
pdk_add_family(pdk_trace src/cfitracelog.cpp src/cfisafefolder.cpp)
