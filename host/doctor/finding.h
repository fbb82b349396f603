// What a check found.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace host::doctor {

enum class Verdict { Ok, Wrong, Skipped };

struct Finding {
    std::string subject;
    Verdict verdict = Verdict::Skipped;
    std::string words;  // what is there; or what is wrong and what to do; or why it wasn't tried
    // What a program may want beside the words.
    nlohmann::ordered_json fields = nlohmann::ordered_json::object();
};

}  // namespace host::doctor
