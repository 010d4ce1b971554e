#pragma once

#include "tsinspect/pes.h"
#include "tsinspect/ts.h"

#include <ostream>

/// Writes a transport packet header field by field, a line each, as hexadecimal numbers.
/// Leaves the stream in hexadecimal. Nothing is checked.
std::ostream& operator<<(std::ostream& os, TS::Packet& header);

/// Writes a PES header field by field, a line each, as hexadecimal numbers, and last, on a line
/// that it does not end, its timestamp in ticks and in whole seconds.
/// Leaves the stream in decimal. Nothing is checked.
std::ostream& operator<<(std::ostream& os, PES_HEADER& header);
