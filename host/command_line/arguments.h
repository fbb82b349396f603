// Everything that a command line can say.
#pragma once

#include <string>

#include "host/commands/commands.h"
#include "host/session/context.h"

namespace host {

struct Arguments {
    ContextOptions plugin;
    DecodeOptions decode;
    TagOptions tag;
    UntagOptions untag;
    std::string file;
    std::string folder;
    bool json = false;
};

}  // namespace host
