// Decoding in this process with FFmpeg's own libraries: what a host does that links them.
#pragma once

#include <memory>
#include <string>

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
