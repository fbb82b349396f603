// What goes wrong in a plug-in that was built for it: see faulty_file.cpp and faulty_memory.cpp.
#pragma once

#include <cstdint>

enum class Fault {
    None,
    Error,        // one operation fails and moves nothing
    Short,        // one fails with half of its bytes moved, or half of the room taken
    DiskFull,     // from one on the disk has `room` more bytes than it ever gave to this file
    Ended,        // the process has ended before one: neither that nor any later one has an effect
    NoMemory,     // one request for memory is refused
    OutOfMemory,  // one and all later ones are
};

struct FaultPlan {
    Fault fault = Fault::None;
    std::int64_t at = 0;            // number of the operation or request, from 0
    std::int64_t room = 0;          // bytes
    bool takesRoomUnasked = false;  // the file system doesn't know how to give room without bytes in it
};

// Each operation is a letter: Length, Read, Write, End (a cut), room tAken.
inline constexpr char kLength = 'L', kReads = 'R', kWrites = 'W', kCuts = 'E', kTakesRoom = 'A';

// Exports of that plug-in beside the nine functions: the first starts the count anew, with null for nothing
// to go wrong and no job to come; the others give the operations and the number of the calling thread's
// requests for memory since then, until the next call of the first.
using ArmFaultFunction = void (*)(const FaultPlan* plan);
using OperationsFunction = const char* (*)();
using MemoryRequestsFunction = std::int64_t (*)();
