// The plug-in as a host has it: a loaded library and its functions.
#pragma once

#include <string>

#include "decoder_plugin.h"

struct Plugin {
    // Stays loaded to the end of the program. std::runtime_error when it can't be loaded or lacks a function.
    explicit Plugin(const std::string& file);

    DecoderCreateFunction Create = nullptr;
    DecoderDestroyFunction Destroy = nullptr;
    DecoderGetFunction Get = nullptr;
    DecoderSetFunction Set = nullptr;
    DecoderOpenFunction Open = nullptr;
    DecoderCloseFunction Close = nullptr;
    DecoderDecodeBlockFunction DecodeBlock = nullptr;
    DecoderSetPositionFunction SetPosition = nullptr;
    DecoderDeleteATagFunction DeleteATag = nullptr;
};
