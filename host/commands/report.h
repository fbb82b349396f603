// The file of --report: a JSON line for each file, behind those of earlier runs.
#pragma once

#include <cstdio>
#include <memory>
#include <set>
#include <string>

namespace host {

class Report {
  public:
    // Makes the file when it isn't there. The half line that a run left which was killed gets an end of its
    // own, so that no further line is lost to it. Throws Failure.
    explicit Report(std::string name);

    // A whole line with its end, in one piece: several runs may append to one file, and a run that is killed
    // leaves whole lines. Throws Failure when it can't be written.
    void Add(const std::string& line);

  private:
    [[noreturn]] void Fail(int code) const;

    struct Closer {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    const std::string name_;
    std::unique_ptr<std::FILE, Closer> stream_;
};

// The names of the files whose last line in the report says that they are done; none when there is no report.
// Throws Failure when it can't be read.
std::set<std::string, std::less<>> DoneIn(const std::string& report);

}  // namespace host
