# Building from scripts: sourced, with the tree's root as the current folder.

# configure_preset PRESET: prepares out/PRESET.
configure_preset() {
    mkdir -p out
    cmake --preset "$1" -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
        >"out/$1.configure.log" 2>&1 || { cat "out/$1.configure.log"; return 1; }
}

# build_preset PRESET [TARGET...]: configures and builds into out/PRESET; everything without targets.
build_preset() {
    local preset=$1
    shift
    configure_preset "$preset" || return
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
