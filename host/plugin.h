// The plug-in as C++ sees it: the loaded library with its nine functions, and one decoder of it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "decoder_plugin.h"
#include "system.h"

namespace host {

// Throws Failure when the library can't be loaded or lacks one of the functions.
class Plugin {
  public:
    explicit Plugin(const std::filesystem::path& path);

    DecoderCreateFunction create;
    DecoderDestroyFunction destroy;
    DecoderGetFunction get;
    DecoderSetFunction set;
    DecoderOpenFunction open;
    DecoderCloseFunction close;
    DecoderDecodeBlockFunction decodeBlock;
    DecoderSetPositionFunction setPosition;
    DecoderDeleteATagFunction deleteATag;

  private:
    template <typename Function>
    void Find(Function& function, const char* name);

    system::Library library_;
};

// One decoder, destroyed at the end of its life. Results as in the plug-in's header: true is success.
class DecoderHandle {
  public:
    // The plug-in and the logs must outlive the decoder. Throws Failure when memory is exhausted.
    DecoderHandle(const Plugin& plugin, const DecoderCreateInfo& info);
    ~DecoderHandle() { plugin_.destroy(decoder_); }
    DecoderHandle(const DecoderHandle&) = delete;
    DecoderHandle& operator=(const DecoderHandle&) = delete;

    bool Get(const DecoderChar* key, DecoderParam& param) { return plugin_.get(decoder_, key, &param) != 0; }
    bool Set(const DecoderChar* key, DecoderParam& param) { return plugin_.set(decoder_, key, &param) != 0; }
    bool Open(DecoderOpenInfo& info) { return plugin_.open(decoder_, &info) != 0; }
    void Close() { plugin_.close(decoder_); }
    bool DecodeBlock(DecoderBlockInfo& block) { return plugin_.decodeBlock(decoder_, &block) != 0; }
    bool SetPosition(std::int64_t frame) { return plugin_.setPosition(decoder_, frame) != 0; }
    bool DeleteATag(const DecoderChar* path, const DecoderChar* names) {
        return plugin_.deleteATag(decoder_, path, names) != 0;
    }

  private:
    const Plugin& plugin_;
    Decoder* decoder_;
};

}  // namespace host
