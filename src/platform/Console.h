#pragma once

#include <string_view>

/// The console that the program was started from. Any thread.
namespace ovelo::console {

/// Writes a line to standard error; the line end is added. A console that takes nothing now loses
/// the line: nobody ever waits for a terminal.
void write(std::string_view line);

/// The same on standard output.
void writeOutput(std::string_view line);

/// Writes no more lines; for programs whose console is for something else.
void silence();

} // namespace ovelo::console
