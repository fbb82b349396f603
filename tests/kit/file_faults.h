// Makes an operation on files fail, in a test program that links `file_faults`.
#pragma once

#include <cstddef>

namespace kit {

enum class FileFault {
    Once,     // one operation does nothing and fails
    Half,     // one operation fails; a read or write has moved half of its bytes
    Lasting,  // it fails, and every write, cut and taking of room from there on
};

// While it lives, counts what the program's files do (seek, read, write, cut, take room), and lets operation
// number `at`, from 0, fail.
class FileFaults {
  public:
    FileFaults(FileFault fault, std::size_t at);
    ~FileFaults();
    FileFaults(const FileFaults&) = delete;
    FileFaults& operator=(const FileFaults&) = delete;

    bool Happened() const;
};

}  // namespace kit
