#pragma once

/// Sets the defaults of the run state and then what the script at scriptPath says, echoing it to standard output.
/// Faults of a line are reported and the reading goes on; a script that cannot be opened and a full image list end the
/// run.
void readScript();
