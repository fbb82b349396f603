// Decoding through the plug-in as a host does it, and through the bare worker on a pipe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kit/files.h"
#include "kit/plugin.h"
#include "system.h"

inline constexpr std::size_t kPipeBytes = 65536;
inline constexpr std::size_t kChunkHeaderBytes = 24;

void Demand(bool holds, const char* what);  // throws std::runtime_error

// The worker lies in the folder above the plug-in's.
std::string WorkerOf(const std::filesystem::path& plugin);

// A decoder of a host that can cancel, opened on a file with all that an opening can be asked for.
class Decode {
  public:
    Decode(const kit::Plugin& plugin, const kit::TempFolder& folder);
    Decode(const Decode&) = delete;
    Decode& operator=(const Decode&) = delete;
    ~Decode() { plugin_.Destroy(decoder_); }

    void ChooseFormat(const DecoderChar* word);  // for the next Open
    DecoderFormat Open(const std::string& input);
    DecoderBlockInfo Block();
    void Seek(std::int64_t position) { Demand(plugin_.SetPosition(decoder_, position) == 1, "no seek"); }
    void Close() { plugin_.Close(decoder_); }

  private:
    const kit::Plugin& plugin_;
    Decoder* decoder_ = nullptr;
};

// The worker on a bare pipe; from `seconds` on when that is above 0.
std::vector<std::string> BareCommand(const std::string& worker, const std::string& input, double seconds = 0);

// Starts it and reads up to the first byte behind the header of the chunk "data".
std::unique_ptr<PipedProgram> StartBare(const std::vector<std::string>& command, std::span<std::byte> buffer);
