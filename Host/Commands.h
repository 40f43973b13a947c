// The subcommands of the simcore command. Each adds itself to the command line and, when it is the
// one chosen, runs and leaves the process exit status in `status`: 0 success, 1 a study whose verdicts
// fail, 2 bad input or a failed run, 130 an interrupted run.
#pragma once

namespace CLI
{
class App;
}

// simcore merge OUT DIR...: the shards of one study joined into the output of the whole study.
void addMergeCommand(CLI::App& app, int& status);
