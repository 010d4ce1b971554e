#pragma once

class Options;

/// Deletes the oldest segment files until no more than settings.window are left.
///
/// `first` is the number of the oldest segment kept and moves past each one that is deleted, also
/// where the file was already gone; `count` is the number of segment files opened so far. A
/// negative window is read as unsigned, so it keeps 2^31 files and more. Returns false, and does
/// nothing, when the window is 0, and true otherwise. A `first` at or beyond `count` deletes
/// nothing.
bool updateSlidingWindow(Options& settings, unsigned int& first, unsigned int count);
