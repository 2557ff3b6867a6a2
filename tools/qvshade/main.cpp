// qvshade: shows what is in a file of shading functions. A host of the library like any other.
#include "CommandLine.h"
#include "Commands.h"
#include "Failure.h"
#include "Output.h"

#include "core/Exception.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <cstdio>
#include <exception>

namespace {

int run(const std::vector<std::string>& arguments) {
    Failure result{kDone, ""};
    try {
        runCommand(parseCommandLine(arguments));
    } catch (const Failure& error) {
        result = error;
    } catch (const Exception& error) {
        result = failure(kBadFunction, error.message);
    } catch (const std::exception& error) {
        result = failure(kBadOutput, error.what());
    }
    qvShadingDag::ShadingNodeSpec::clearLibrary();
    std::fwrite(result.message.data(), 1, result.message.size(), stderr); // a source may hold zeros
    return result.status;
}

} // namespace

int main(int argc, char** argv) {
    useBinaryStreams();
    return run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
