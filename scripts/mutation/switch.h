// Which of the faults that were compiled in beside the right code is on, and which were passed by. Included
// in front of every source by scripts/mutate.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace mutants {

inline const int chosen = [] {
    const char* const number = std::getenv("MUTANT");
    return number != nullptr ? std::atoi(number) : 0;
}();

// A byte for each number, in a file that all programs of a test share.
inline unsigned char* const reached = []() -> unsigned char* {
    const char* const name = std::getenv("MUTANTS_REACHED");
    if (name == nullptr) return nullptr;
    const int file = open(name, O_RDWR | O_CLOEXEC);
    if (file < 0) return nullptr;
    struct stat status;
    fstat(file, &status);
    void* const bytes =
        mmap(nullptr, static_cast<std::size_t>(status.st_size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return bytes == MAP_FAILED ? nullptr : static_cast<unsigned char*>(bytes);
}();

constexpr bool On(int number) noexcept {
    if (__builtin_is_constant_evaluated()) return false;
    if (reached != nullptr) reached[number] = 1;
    return chosen == number;
}

#define MUTANTS_OPERATOR(name, right, wrong)                           \
    template <typename First, typename Second>                         \
    constexpr auto name(int number, const First& a, const Second& b) { \
        return On(number) ? (a wrong b) : (a right b);                 \
    }
MUTANTS_OPERATOR(Less, <, <=)
MUTANTS_OPERATOR(LessEqual, <=, <)
MUTANTS_OPERATOR(Greater, >, >=)
MUTANTS_OPERATOR(GreaterEqual, >=, >)
MUTANTS_OPERATOR(Equal, ==, !=)
MUTANTS_OPERATOR(Unequal, !=, ==)
MUTANTS_OPERATOR(Plus, +, -)
MUTANTS_OPERATOR(Minus, -, +)
MUTANTS_OPERATOR(Times, *, /)
MUTANTS_OPERATOR(Over, /, *)
MUTANTS_OPERATOR(Modulo, %, *)
MUTANTS_OPERATOR(Left, <<, >>)
MUTANTS_OPERATOR(Right, >>, <<)
MUTANTS_OPERATOR(And, &, |)
MUTANTS_OPERATOR(Or, |, &)
MUTANTS_OPERATOR(Xor, ^, |)
#undef MUTANTS_OPERATOR

}  // namespace mutants
