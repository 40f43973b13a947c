// simcore convert: reads a crash recording in any format we read (CSH, BIN, ISO-MME) and writes it
// as CSH or BIN, header, channels and samples alike.
#include "Host/Commands.h"

#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "Host/RecordingFiles.h"
#include "SimCore/cKynFile.h"
#include "StoreKit/cBinaryInputFile.h"
#include "StoreKit/cInputFile.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace
{
struct sConvertOptions
{
    std::string in;
    std::string out;
};

int runConvert(sConvertOptions const& options)
{
    // Refused before anything is read: a long ISO-MME test would be read for nothing.
    std::string const problem = recordingWriteProblem(options.out);
    if (!problem.empty())
    {
        doErrorMessage("simcore convert: \"" + options.out + "\": " + problem);
        return 2;
    }
    try
    {
        std::unique_ptr<cInputFile> const recording(makeAcquisitionFile(
            options.in.c_str(), cBinaryInputFile::kModeInput | cBinaryInputFile::kModeBinary, nullptr));
        writeRecordingFile(*recording, options.out);
        return 0;
    }
    catch (cKynException const& exception)
    {
        doErrorMessage(std::string("simcore convert: ") + exception.what());
    }
    catch (std::exception const& exception)
    {
        doErrorMessage("simcore convert: \"" + options.in + "\" to \"" + options.out +
                       "\": " + exception.what());
    }
    return 2;
}
} // namespace

void addConvertCommand(CLI::App& app, int& status)
{
    auto options = std::make_shared<sConvertOptions>();
    CLI::App* const command = app.add_subcommand(
        "convert",
        "Converts a crash recording (.csh, .bin, or the .mme of an ISO-MME test) to CSH or BIN, by the "
        "extension of OUT.");
    command->add_option("IN", options->in, "the recording to read")->required();
    command->add_option("OUT", options->out, "the recording to write: .csh or .bin")->required();
    command->callback([options, &status] { status = runConvert(*options); });
}
