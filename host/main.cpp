// decoder-host: the program.
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "host/command_line/arguments.h"
#include "host/command_line/parse.h"
#include "host/command_line/table.h"
#include "host/contract/helper.h"
#include "host/system/console.h"
#include "host/terminal/output.h"
#include "host/text/failure.h"

namespace {

constexpr int kFailureCode = 1;
constexpr int kUsageCode = 2;

}  // namespace

int main(int argc, char** argv) {
    using namespace host;
    try {
        system::PrepareProcess();
        Arguments arguments;
        const CommandLine line = MakeCommandLine(arguments);
        const std::vector<std::string> words = system::Arguments(argc, argv);
        if (const std::optional<int> code = contract::RunAsHelper(words)) return *code;
        const int code = ParseAndRun(line, words);
        FlushOutput();
        return code;
    } catch (const Interruption& interruption) {
        return interruption.exitCode;
    } catch (const UsageFailure& failure) {
        PrintError(failure.what());
        return kUsageCode;
    } catch (const std::exception& error) {
        PrintError(error.what());
        return kFailureCode;
    }
}
