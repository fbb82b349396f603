// What a program does that links a library, as a whole process beside others.
//
//   peer_job decode FILE             all samples, with FFmpeg's libraries
//   peer_job tags FILE...            with TagLib
//   peer_job retag FILE TITLE        with TagLib
#include <taglib/fileref.h>
#include <taglib/tag.h>
#include <taglib/trueaudiofile.h>

#include <cstdio>
#include <exception>
#include <span>
#include <stdexcept>
#include <string>

#include "libav_decode.h"

namespace {

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

void Decode(const char* file) {
    LibavDecode libav(file);
    long total = 0;
    while (const int frames = libav.NextFrames()) total += frames;
    Require(total > 0, "no audio");
}

void ReadTags(const char* file) {
    TagLib::TrueAudio::File opened(file, false);
    Require(opened.tag() != nullptr && !opened.tag()->title().isEmpty(), "no title");
}

void Retag(const char* file, const char* title) {
    TagLib::TrueAudio::File opened(file, false);
    opened.tag()->setTitle(title);
    Require(opened.save(), "not saved");
}

}  // namespace

int main(int count, char** arguments) try {
    const std::span<char*> words(arguments, static_cast<std::size_t>(count));
    Require(words.size() > 2, "usage: peer_job decode|tags|retag FILE...");
    const std::string job = words[1];
    if (job == "decode") Decode(words[2]);
    if (job == "retag") Retag(words[2], words.back());
    if (job == "tags") {
        for (const char* file : words.subspan(2)) ReadTags(file);
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "peer_job: %s\n", failure.what());
    return 1;
}
