// Decoding in this process with FFmpeg's own libraries: what a host does that links them.
#pragma once

#include <memory>
#include <string>

// Opens a file for its tags and attachments and lets it go; the bytes of the first attachment, 0 without one.
// Throws std::runtime_error.
std::size_t LibavAttachmentBytes(const std::string& file);

class LibavDecode {
  public:
    // Opens the file and its decoder. Throws std::runtime_error.
    explicit LibavDecode(const std::string& file);
    ~LibavDecode();
    LibavDecode(const LibavDecode&) = delete;
    LibavDecode& operator=(const LibavDecode&) = delete;

    void Seek(double seconds);
    // Decodes until there are samples; how many sample frames came. 0 at the end.
    int NextFrames();

  private:
    struct State;
    std::unique_ptr<State> state_;
};
