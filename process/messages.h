#pragma once

#include <string>

// Messages that never wait: one that does not fit is dropped, so that no reader, such as a terminal
// that nobody looks at, can hold up a stream.

/// Prepares standard output and error, which are open. `program` stands in front of warnings.
void openMessages(const std::string& program);

/// The descriptor of standard error for programs that this one starts: they do not wait either.
int errorDescriptor();

/// Writes `line` and a line feed to standard output.
void tell(const std::string& line);

/// Writes `sentence` to standard error, behind the name of the program.
void warn(const std::string& sentence);
