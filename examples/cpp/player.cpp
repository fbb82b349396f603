// player PLUGIN FILE [START_SECONDS]
//
// The smallest player: decodes through the plug-in and plays through SDL. In its window the left and right
// keys move by ten seconds, the space bar pauses, Escape ends.
#include <SDL.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "decoder_plugin.hpp"

namespace dp = decoder_plugin;

namespace {

constexpr Uint32 kQueuedMilliseconds = 300;  // how far decoding is ahead of the loudspeaker
constexpr double kStepSeconds = 10;

// [player]
class Player {
  public:
    Player(const dp::Plugin& plugin, const dp::Source& source) : decoder_(plugin) {
        const dp::Stream stream = decoder_.Open(source, DECODER_OPEN_TAGS);
        for (const dp::Entry& tag : stream.tags) {
            if (tag.data.empty()) std::cout << tag.name << ": " << tag.value << '\n';
        }
        rate_ = stream.format.wave.samplesPerSecond;
        frameBytes_ = stream.format.wave.blockAlign;
        SDL_AudioSpec wanted{};
        wanted.freq = static_cast<int>(rate_);
        wanted.format = AUDIO_S16LSB;  // what the plug-in gives when nothing else is asked for
        wanted.channels = static_cast<Uint8>(stream.format.wave.channels);
        wanted.samples = 4096;
        device_ = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
        if (device_ == 0) throw dp::Error(SDL_GetError());
        SDL_PauseAudioDevice(device_, 0);
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player() { SDL_CloseAudioDevice(device_); }

    // Keeps the device busy; false when everything was played.
    bool Feed() {
        while (!ended_ && Queued() < rate_ * kQueuedMilliseconds / 1000) {
            const dp::Block block = decoder_.DecodeBlock();
            SDL_QueueAudio(device_, block.samples.data(), static_cast<Uint32>(block.samples.size()));
            decoded_ += static_cast<std::int64_t>(block.samples.size() / frameBytes_);
            ended_ = block.last;
        }
        return !ended_ || Queued() > 0;
    }

    void Move(double seconds) { Go((static_cast<double>(decoded_) - Queued()) / rate_ + seconds); }
    void Go(double seconds) {
        SDL_ClearQueuedAudio(device_);
        decoded_ = static_cast<std::int64_t>(std::max(seconds, 0.0) * rate_);
        decoder_.SetPosition(decoded_);
        ended_ = false;
    }
    void Pause() {
        SDL_PauseAudioDevice(device_, SDL_GetAudioDeviceStatus(device_) == SDL_AUDIO_PLAYING ? 1 : 0);
    }

  private:
    // Sample frames that the device hasn't taken yet.
    Uint32 Queued() const { return SDL_GetQueuedAudioSize(device_) / frameBytes_; }

    dp::Decoder decoder_;
    SDL_AudioDeviceID device_ = 0;
    Uint32 rate_ = 0;
    Uint32 frameBytes_ = 1;
    std::int64_t decoded_ = 0;  // sample frames, from the beginning of the file
    bool ended_ = false;
};
// [player]

// False when the user wants to leave.
bool Obey(Player& player, const SDL_Event& event) {
    if (event.type == SDL_QUIT) return false;
    if (event.type != SDL_KEYDOWN) return true;
    switch (event.key.keysym.sym) {
        case SDLK_RIGHT:
            player.Move(kStepSeconds);
            break;
        case SDLK_LEFT:
            player.Move(-kStepSeconds);
            break;
        case SDLK_SPACE:
            player.Pause();
            break;
        case SDLK_ESCAPE:
            return false;
        default:
            break;
    }
    return true;
}

void Play(const char* pluginPath, const char* file, double start) {
    const dp::Plugin plugin(pluginPath);
    Player player(plugin, file);
    if (start > 0) player.Go(start);
    SDL_Event event;
    while (player.Feed()) {
        // Wakes for a key, or in time to decode further.
        if (SDL_WaitEventTimeout(&event, kQueuedMilliseconds / 6) != 0 && !Obey(player, event)) return;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: player PLUGIN FILE [START_SECONDS]\n";
        return 2;
    }
    if (SDL_Init(SDL_INIT_AUDIO | SDL_INIT_VIDEO) != 0) {
        std::cerr << SDL_GetError() << '\n';
        return 1;
    }
    SDL_Window* window = SDL_CreateWindow(argv[2], SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 480, 60,
                                          SDL_WINDOW_SHOWN);
    int result = 0;
    try {
        Play(argv[1], argv[2], argc > 3 ? std::atof(argv[3]) : 0);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        result = 1;
    }
    SDL_DestroyWindow(window);
    SDL_Quit();
    return result;
}
