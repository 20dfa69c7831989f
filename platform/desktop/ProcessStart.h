#pragma once
// What a program must set up before anything else. First statement of main(); one thread.

namespace tolvane {

/// Standard input, output and error that were closed when the program was started are opened on /dev/null: the next
/// file to be opened would otherwise get their number, and a log line would be written into it. A file that would grow
/// beyond the limit of the process is an error of that write, not the end of the program.
void prepareProcess();

}  // namespace tolvane
