// decoder-host: the program.
#include <exception>

#include "host/command_line/arguments.h"
#include "host/command_line/parse.h"
#include "host/command_line/table.h"
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
        const int code = ParseAndRun(line, system::Arguments(argc, argv));
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
