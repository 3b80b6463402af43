#pragma once

// What a process must put right about itself before it does anything else.

namespace cutstack {

/// Makes standard input, output and error exist, so that no file that is opened later takes their
/// place and receives lines meant for the console; makes a write to a reader that has gone fail
/// instead of ending the process; lets the ends of other programs be learned, also where the
/// process was started without that. To be called once, first thing in main.
void prepareProcess();

} // namespace cutstack
