# Configuration parameters (XML through Xerces-C) and the framework's paths.
pdk_add_family(pdk_config src/cficonfigparam.cpp)
