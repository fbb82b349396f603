#include "plugin.h"

#include <stdexcept>
#include <string>

#include "text.h"

namespace host {

namespace {

std::filesystem::path Existing(const std::filesystem::path& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) throw Failure("no plug-in at " + PathText(path));
    // A bare name would be looked for in the system's own folders.
    return std::filesystem::absolute(path);
}

}  // namespace

Plugin::Plugin(const std::filesystem::path& path) try : library_(Existing(path)) {
    Find(create, DECODER_EXPORT_CREATE);
    Find(destroy, DECODER_EXPORT_DESTROY);
    Find(get, DECODER_EXPORT_GET);
    Find(set, DECODER_EXPORT_SET);
    Find(open, DECODER_EXPORT_OPEN);
    Find(close, DECODER_EXPORT_CLOSE);
    Find(decodeBlock, DECODER_EXPORT_DECODE_BLOCK);
    Find(setPosition, DECODER_EXPORT_SET_POSITION);
    Find(deleteATag, DECODER_EXPORT_DELETE_A_TAG);
} catch (const Failure&) {
    throw;
} catch (const std::exception& error) {
    throw Failure(std::string("can't load the plug-in: ") + error.what());
}

template <typename Function>
void Plugin::Find(Function& function, const char* name) {
    void* const symbol = library_.Symbol(name);
    if (symbol == nullptr) throw Failure(std::string("the plug-in has no function ") + name);
    function = reinterpret_cast<Function>(symbol);
}

DecoderHandle::DecoderHandle(const Plugin& plugin, const DecoderCreateInfo& info)
    : plugin_(plugin), decoder_(plugin.create(&info)) {
    if (decoder_ == nullptr) throw Failure("the plug-in gave no decoder");
}

}  // namespace host
