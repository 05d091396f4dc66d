# The framework's buffer and object-id functions (used when the host has none).
pdk_add_family(pdk_framework src/frim_buffers.cpp)
