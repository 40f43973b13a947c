// The mouse gesture of the host's calibration dialogs: whether the left button has gone up since the
// calibration last took an undo step. A drag on a slider edits a value many times; the host's dialog
// code raises the flag when the button is released, and cCalibration::saveTmpFile reads it so that a
// whole gesture becomes one history step, then clears it. Process-wide, false at start.
#pragma once

bool isLButtonUp();
void setLButtonUp(bool up);
