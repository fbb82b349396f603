#include "plugin.h"

#include <dlfcn.h>

#include <stdexcept>

namespace {

template <typename Function>
void Find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) throw std::runtime_error(std::string("the plug-in has no ") + name);
}

}  // namespace

Plugin::Plugin(const std::string& file) {
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(dlerror());
    Find(library, DECODER_EXPORT_CREATE, Create);
    Find(library, DECODER_EXPORT_DESTROY, Destroy);
    Find(library, DECODER_EXPORT_GET, Get);
    Find(library, DECODER_EXPORT_SET, Set);
    Find(library, DECODER_EXPORT_OPEN, Open);
    Find(library, DECODER_EXPORT_CLOSE, Close);
    Find(library, DECODER_EXPORT_DECODE_BLOCK, DecodeBlock);
    Find(library, DECODER_EXPORT_SET_POSITION, SetPosition);
    Find(library, DECODER_EXPORT_DELETE_A_TAG, DeleteATag);
}
