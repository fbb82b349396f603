// Whether something stands in a file.
#pragma once

// A file that can't be read isn't one without a tag: who took it for that would put a second tag behind the
// first.
enum class Presence { Absent, Present, Unreadable };
