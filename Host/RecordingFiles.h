// The crash recordings that the simcore commands write: CSH or BIN, chosen by the extension of the
// path in any case, as the readers choose theirs. ISO-MME is read only.
#pragma once

#include <string>

class cInputFile;

// Why path cannot take a written recording ("" when it can): ISO-MME is read only, and any other
// extension than .csh and .bin is no format of ours.
std::string recordingWriteProblem(std::string const& path);

// Writes the recording to path in the format of its extension, which recordingWriteProblem accepted.
// A failure throws the writer's exception of the cKynException family, naming path.
void writeRecordingFile(cInputFile const& recording, std::string const& path);
