# Installation rules; filled in with the packaging (headers, libraries,
# pkg-config file and CMake package).
