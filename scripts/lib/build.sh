# Building from scripts: sourced, with the tree's root as the current folder.

# build_preset PRESET [TARGET...]: configures and builds into out/PRESET; everything without targets.
build_preset() {
    local preset=$1
    shift
    mkdir -p out
    cmake --preset "$preset" -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
        >"out/$preset.configure.log" 2>&1 || { cat "out/$preset.configure.log"; return 1; }
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
