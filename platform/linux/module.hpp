#pragma once

#include <string>

namespace quillon {

/// A module of this program: what few runs need and what takes longer to load than everything else that a
/// command-line mode does, loaded when it is wanted. Modules lie in lib/quillon beside the program's own
/// folder and stay for the life of the process, because what they made may outlive everything else.
struct ModuleSymbol {
    void* address = nullptr;  ///< null: the module or the symbol is not there
    std::string failure;      ///< why, for people
};

/// Loads `file` (for example "libquillon-pattern.so") unless it is there already, and finds `symbol`. Any
/// thread.
ModuleSymbol loadFromModule(const char* file, const char* symbol);

}  // namespace quillon
