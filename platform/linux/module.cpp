#include "platform/linux/module.hpp"

#include <dlfcn.h>

#include "platform/linux/program_files.hpp"

namespace quillon {

ModuleSymbol loadFromModule(const char* file, const char* symbol) {
    void* const module = dlopen(supportFile(file).c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const address = module != nullptr ? dlsym(module, symbol) : nullptr;
    if (address != nullptr) return {address, {}};
    const char* const failure = dlerror();
    return {nullptr, failure != nullptr ? failure : "the module has no such symbol"};
}

}  // namespace quillon
