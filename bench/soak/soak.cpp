// Many decoders at once for a long time: random opens, seeks and closes, and tags written, read and deleted
// on copies of files. What comes is compared with what has to come, and what the process holds is noted as
// CSV on standard output, for soak.py.
//
//   soak PLUGIN MINUTES
//
// Ends with 1 when a call fails or gives something wrong.
#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "decoder_plugin.hpp"
#include "kit/files.h"
#include "kit/tools.h"
#include "system.h"

namespace {

namespace dp = decoder_plugin;
namespace fs = std::filesystem;

constexpr unsigned kDecoders = 64;
constexpr unsigned kSeed = 20;
constexpr int kSampleRate = 44100;
constexpr int kSeconds = 20;
constexpr std::size_t kFrameBytes = 4;  // 16 bit, 2 channels
constexpr int kSamplesOfARun = 300;     // of what the process holds
// Bytes behind the end of a JPEG.
constexpr std::size_t kSmallPicture = 20000;
constexpr std::size_t kLargePicture = 300000;

void Demand(bool condition, const std::string& text) {
    if (!condition) throw std::runtime_error(text);
}

// ---- What the process holds ----

std::size_t EntriesOf(const char* folder) {
    DIR* const entries = opendir(folder);
    Demand(entries != nullptr, std::string("can't look into ") + folder);
    std::size_t count = 0;
    while (const dirent* entry = readdir(entries)) count += entry->d_name[0] != '.' ? 1 : 0;
    closedir(entries);
    return count;
}

std::size_t ResidentKibibytes() {
    std::ifstream status("/proc/self/statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    status >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

// What the program and its libraries have of the heap, whatever the heap keeps for later.
std::size_t AllocatedKibibytes() {
    const struct mallinfo2 heap = mallinfo2();
    return (heap.uordblks + heap.hblkhd) / 1024;
}

std::size_t ChildrenOfThisProcess() {
    const long own = getpid();
    std::size_t count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        std::ifstream stream(entry.path() / "stat");
        std::string text;
        std::getline(stream, text);
        // "PID (NAME) STATE PARENT"; the name may have anything in it.
        const std::size_t name = text.rfind(") ");
        if (name != std::string::npos && std::atol(text.c_str() + name + 4) == own) ++count;
    }
    return count;
}

struct Counts {
    std::atomic<std::size_t> opens = 0;
    std::atomic<std::size_t> seeks = 0;
    std::atomic<std::size_t> tagJobs = 0;
};

void PrintHeld(const char* phase, double seconds, const Counts& counts) {
    // The folder of descriptors is open itself while they are counted.
    std::printf("%s,%.1f,%zu,%zu,%zu,%zu,%zu,%zu,%zu,%zu\n", phase, seconds, ResidentKibibytes(),
                AllocatedKibibytes(), EntriesOf("/proc/self/fd") - 1, EntriesOf("/proc/self/task"),
                ChildrenOfThisProcess(), counts.opens.load(), counts.seeks.load(), counts.tagJobs.load());
    std::fflush(stdout);
}

// ---- The files ----

struct Sound {
    fs::path file;
    bool isExact;  // its samples are those of the source, also behind a seek
};

std::string WithId3v2(const std::string& sound) {
    // A title of one letter, in version 2.3.
    static constexpr char kTag[] = "ID3\3\0\0\0\0\0\x0CTIT2\0\0\0\2\0\0\0A";
    return std::string(kTag, sizeof kTag - 1) + sound;
}

struct Files {
    explicit Files(const kit::TempFolder& folder) {
        kit::MakeAudio(folder / "source.wav", kSeconds,
                       {"-af", "aeval=0.5*val(0)|0.4*random(0)-0.2:c=stereo"});
        const std::string source = kit::Utf8(folder / "source.wav");
        const auto make = [&](const char* name, std::vector<std::string> options, bool isExact) {
            std::vector<std::string> arguments = {"-i", source};
            arguments.insert(arguments.end(), options.begin(), options.end());
            arguments.push_back(kit::Utf8(folder / name));
            kit::Ffmpeg(arguments);
            sounds.push_back({folder / name, isExact});
        };
        make("sound.tta", {}, true);
        make("sound.flac", {}, true);
        // Its times are milliseconds, so a seek may come out beside the sample.
        make("sound.mka", {"-c:a", "flac"}, false);
        make("sound.mp3", {}, false);
        samples = kit::ReferenceSamples(source);
        kit::Ffmpeg({"-i", source, "-t", "1", kit::Utf8(folder / "short.tta")});
        kit::Ffmpeg({"-i", source, "-t", "1", "-c:a", "flac", kit::Utf8(folder / "short.mka")});
        kit::Ffmpeg({"-f", "lavfi", "-i", "color=orange:s=300x300", "-frames:v", "1",
                     kit::Utf8(folder / "cover.jpg")});
        picture = kit::ReadFile(folder / "cover.jpg");
        const std::string tta = kit::ReadFile(folder / "short.tta");
        taggable = {{".tta", tta}, {".tta", WithId3v2(tta)}, {".mka", kit::ReadFile(folder / "short.mka")}};
    }

    std::vector<Sound> sounds;
    std::string samples;  // of every exact one
    struct Taggable {
        std::string extension;
        std::string bytes;
    };
    std::vector<Taggable> taggable;
    std::string picture;
};

// ---- The load ----

class Listener {
  public:
    Listener(const dp::Plugin& plugin, const Files& files, const fs::path& folder, unsigned number,
             Counts& counts)
        : decoder_(plugin),
          files_(files),
          own_(folder / ("own" + std::to_string(number))),
          random_(kSeed + number),
          counts_(counts) {}

    // Buffers keep the size of the largest that was in them. With that one first, what a decoder holds
    // doesn't grow because it gets its turn late.
    void Begin() {
        for (std::size_t kind = 0; kind < files_.taggable.size(); ++kind) Tag(kind, kLargePicture);
    }

    void Step() {
        switch (Below(8)) {
            case 0:
                Tag(Below(files_.taggable.size()),
                    Below(4) != 0 ? 0 : (Below(2) == 0 ? kSmallPicture : kLargePicture));
                break;
            case 1:
                Open();
                break;
            case 2:
                Reopen();
                break;
            default:
                Listen();
                break;
        }
    }

    void Close() { decoder_.Close(); }

  private:
    std::size_t Below(std::size_t limit) { return random_() % limit; }

    void Open() {
        sound_ = &files_.sounds[Below(files_.sounds.size())];
        const dp::Stream stream = decoder_.Open(sound_->file, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
        Demand(stream.format.wave.samplesPerSecond == kSampleRate, "another sample rate");
        ++counts_.opens;
        position_ = 0;
        Hear(Below(4));
    }

    void Reopen() {
        decoder_.Close();
        Open();
    }

    // A seek in a file that is open, and some blocks.
    void Listen() {
        if (sound_ == nullptr) Open();
        // Whole hundredths of a second are the same place in samples and in text.
        position_ = Below(100 * (kSeconds - 1)) * (kSampleRate / 100);
        decoder_.SetPosition(static_cast<std::int64_t>(position_));
        ++counts_.seeks;
        Hear(1 + Below(6));
    }

    void Hear(std::size_t blocks) {
        for (; blocks > 0; --blocks) {
            const dp::Block block = decoder_.DecodeBlock();
            Demand(!block.samples.empty(), "no samples");
            const std::size_t begin = position_ * kFrameBytes;
            position_ += block.samples.size() / kFrameBytes;
            if (!sound_->isExact) continue;
            Demand(begin + block.samples.size() <= files_.samples.size() &&
                       std::memcmp(block.samples.data(), files_.samples.data() + begin,
                                   block.samples.size()) == 0,
                   "other samples in " + sound_->file.filename().string());
        }
    }

    // Writes, reads back and deletes on a copy; a picture of so many bytes more than the JPEG has, or none
    // for 0.
    void Tag(std::size_t number, std::size_t pictureBytes) {
        const Files::Taggable& kind = files_.taggable[number];
        const fs::path file = own_.string() + kind.extension;
        kit::WriteFile(file, kind.bytes);
        const std::string title = "Title " + std::to_string(random_());
        dp::BlobBuilder blob;
        blob.Add("Title", title).Add("Artist", std::vector<std::string>{"One", "Two"});
        std::string picture = files_.picture;
        picture.resize(picture.size() + pictureBytes);
        if (pictureBytes > 0) {
            blob.Add("_albumart_1_Front Album Cover", "",
                     {reinterpret_cast<const std::byte*>(picture.data()), picture.size()});
        }
        Demand(decoder_.TryWriteTags(file, blob.bytes()), "can't write tags to " + file.filename().string() +
                                                              ": " + decoder_.LastFailure().value_or(""));
        Demand(TitleOf(file) == title, "another title in " + file.filename().string());
        if (Below(2) == 0) {
            decoder_.DeleteAllTags(file);
        } else {
            decoder_.DeleteTags(file, {"Title"});
        }
        Demand(TitleOf(file).empty(), "a title after it was deleted");
        sound_ = nullptr;
        ++counts_.tagJobs;
    }

    std::string TitleOf(const fs::path& file) {
        const dp::Stream stream = decoder_.Open(file, DECODER_OPEN_TAGS);
        ++counts_.opens;
        for (const dp::Entry& entry : stream.tags) {
            // Matroska has its names in capital letters.
            if (entry.name == "Title" || entry.name == "TITLE") return entry.value;
        }
        return {};
    }

    dp::Decoder decoder_;
    const Files& files_;
    const fs::path own_;
    std::mt19937 random_;
    Counts& counts_;
    const Sound* sound_ = nullptr;  // what is open
    std::size_t position_ = 0;      // in frames
};

// The first failure of any thread; ends all.
class Run {
  public:
    bool isOn() const { return on_; }

    void End(const std::string& failure) {
        const std::lock_guard lock(mutex_);
        if (failure_.empty()) failure_ = failure;
        on_ = false;
        changed_.notify_all();
    }

    void Wait(double seconds) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return !on_; });
    }

    const std::string& failure() const { return failure_; }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<bool> on_ = true;
    std::string failure_;
};

void Load(const dp::Plugin& plugin, const Files& files, const fs::path& folder, double minutes,
          Counts& counts) {
    Run run;
    std::vector<std::thread> threads;
    const double start = WallSeconds();
    for (unsigned number = 0; number < kDecoders; ++number) {
        threads.emplace_back([&, number] {
            try {
                Listener listener(plugin, files, folder, number, counts);
                listener.Begin();
                while (run.isOn()) listener.Step();
                listener.Close();
            } catch (const std::exception& failure) {
                run.End(failure.what());
            }
        });
    }
    while (run.isOn() && WallSeconds() - start < minutes * 60) {
        run.Wait(minutes * 60 / kSamplesOfARun);
        PrintHeld("load", WallSeconds() - start, counts);
    }
    run.End("");
    for (std::thread& thread : threads) thread.join();
    Demand(run.failure().empty(), run.failure());
}

}  // namespace

int main(int argc, char** argv) try {
    const double minutes = argc == 3 ? std::atof(argv[2]) : 0;
    Demand(minutes > 0, "usage: soak PLUGIN MINUTES");
    const kit::TempFolder folder;
    const Files files(folder);
    const dp::Plugin plugin(argv[1]);
    Counts counts;
    std::printf(
        "phase,seconds,resident_kib,allocated_kib,descriptors,threads,children,opens,seeks,tag_jobs\n");
    PrintHeld("before", 0, counts);
    const double start = WallSeconds();
    Load(plugin, files, folder.path(), minutes, counts);
    PrintHeld("after", WallSeconds() - start, counts);
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "soak: %s\n", failure.what());
    return 1;
}
