// A file in memory that has a path like any other. Linux only, as the fuzz targets are.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "fuzzing.h"
#include "support/clstring.h"

class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) { Require(descriptor_ >= 0); }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void Set(std::span<const std::byte> bytes) {
        Require(ftruncate(descriptor_, 0) == 0);
        Require(pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    }

    std::vector<std::byte> Get() const {
        const off_t size = lseek(descriptor_, 0, SEEK_END);
        Require(size >= 0);
        std::vector<std::byte> bytes(static_cast<std::size_t>(size));
        Require(pread(descriptor_, bytes.data(), bytes.size(), 0) == size);
        return bytes;
    }

    clString Path() const {
        clString path(u"/proc/self/fd/");
        path.Append(clString::FromInt(descriptor_));
        return path;
    }

  private:
    int descriptor_;
};
