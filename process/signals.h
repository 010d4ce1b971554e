#pragma once

/// Opens /dev/null as standard input, output or error if the program was started with it closed.
/// Otherwise the next file opened would get its number, and messages would be written into it.
void fillStandardDescriptors();

/// From here on, a write into a pipe that nobody reads, or beyond the limit on the size of files,
/// fails as on a full disk does, and no longer ends the process by SIGPIPE or SIGXFSZ. Programs
/// that this one starts are not affected.
void surviveFailedWrites();

/// From here on, INT, TERM and HUP make standard input end, also for a read that is waiting. A
/// second signal ends the process at once, unless it follows within 250 milliseconds: terminals and
/// supervisors send the same one twice. Signals that were ignored, as under nohup, stay so. Without
/// /dev/null nothing changes.
void endInputOnSignals();

/// True once such a signal has come.
bool hasSignalEndedInput();

/// From here on, INT, TERM and HUP have no effect on this thread, nor on programs that it starts,
/// such as the shell that writes the marker: they may come to the whole process group.
void holdBackEndingSignals();
