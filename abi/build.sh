# Sourced by check.sh and update.sh: builds the library with debug information
# (abidw reads the types from DWARF) in the build directory $1.
build_dir=${1:-build-release}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  "-DCMAKE_CXX_FLAGS=-fdebug-prefix-map=$PWD/=" \
  -DQRIX_BUILD_TESTS=OFF -DQRIX_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build_dir" -j2 --target qrixl.portinglayer >/dev/null
library=$(readlink -f "$build_dir/libqrixl.portinglayer.so")
# Only declarations in the public headers count; the version header is generated.
headers=(src/include "$build_dir/include")
baseline=abi/libqrixl.portinglayer.abi
