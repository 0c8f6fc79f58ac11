// The command line of `plexa trace`.
#include "cli/Commands.h"
#include "output/OutputFile.h"
#include "trace/TracePicture.h"
#include "trace/TraceReader.h"

namespace plexa {

TraceCommand::TraceCommand(CLI::App* program)
    : mCommand(program->add_subcommand(
          "trace",
          "Draws a trace of a chain, as --trace or PLEXA_TRACE=FILE writes it: for each stage its "
          "work on every frame, the inputs that wait, its free buffers, and what is dropped.")) {
    mCommand->add_option("FILE", mInput, "The trace, Chrome trace events in JSON")->required();
    mCommand
        ->add_option("OUTPUT", mOutput,
                     "The picture, .svg. It appears under its name only when it is complete")
        ->required();
    mCommand->footer(kExitStatuses);
}

int TraceCommand::run() {
    Status status = mOutput.ends_with(".svg")
                        ? checkIsNotInput(mInput, mOutput)
                        : Status::error("OUTPUT: '" + mOutput + "' is no .svg");
    if (!status.isOk()) return failUsage(status, "trace", false);
    cleanUpOnSignals();
    status = draw();
    return status.isOk() ? kExitDone : fail(status, kExitFailed, false);
}

Status TraceCommand::draw() const {
    ChainTrace trace;
    Status status = TraceReader().read(mInput, &trace);
    if (!status.isOk()) return status;
    const std::string picture = TracePicture(trace).draw();
    OutputFile file;
    status = file.create(mOutput);
    if (status.isOk()) status = file.write(picture.data(), picture.size());
    return status.isOk() ? file.commit() : status;
}

}  // namespace plexa
