// What the sanitizers must not hold against us: libraries that were not built with them. Part of every
// test program; without sanitizers nobody asks.

extern "C" {

// Without a symbolizer that works they say so in the middle of what a test prints; this one is always there.
const char* __asan_default_options() {
    return "external_symbolizer_path=/usr/bin/addr2line";
}
const char* __tsan_default_options() {
    return "external_symbolizer_path=/usr/bin/addr2line";
}

/// Fontconfig keeps its configuration for the life of the process.
const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}

/// Pango loads fonts on a thread of its own and waits for it by means that the sanitizer does not see; so
/// does libdbus take its locks.
const char* __tsan_default_suppressions() {
    return "mutex:libavahi-client.so\n"
           "mutex:libdbus-1.so\n"
           "called_from_lib:libdbus-1.so\n"
           "called_from_lib:libfontconfig.so\n"
           "called_from_lib:libglib-2.0.so\n"
           "called_from_lib:libpangoft2-1.0.so\n";
}

}  // extern "C"
