# Plugin base classes with the kit defaults of every framework operation.
pdk_add_family(pdk_pluginbase src/cfipluginbase.cpp src/cfipluginconfig.cpp)
