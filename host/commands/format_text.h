// The format of samples in words and as JSON.
#pragma once

#include <string>

#include "decoder_plugin.h"
#include "host/commands/batch.h"

namespace host {

std::string FormatText(const DecoderWaveFormat& wave);
Json FormatJson(const DecoderWaveFormat& wave);

}  // namespace host
