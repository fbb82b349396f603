// Everything that a command line can say.
#pragma once

#include "host/commands/commands.h"
#include "host/session/context.h"

namespace host {

// Options that several commands share go into `batch`, `samples` and `write`, from where the command takes
// them.
struct Arguments {
    ContextOptions plugin;
    BatchOptions batch;
    SampleOptions samples;
    WriteOptions write;
    DecodeOptions decode;
    WaveOptions wave;
    ShowOptions show;
    TagOptions tag;
    UntagOptions untag;
    ArtOptions art;
    ContractOptions check;
    bool version = false;
};

}  // namespace host
