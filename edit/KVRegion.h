#pragma once
// KVRegion: a named time range of a file. The live regions belong to the
// project; each undo record keeps a copy of the regions of its file, so that
// an undo brings them back together with the audio they point into.
//
// Only what the undo needs is here: the name, the file the region belongs to
// and its bounds. The region code adds the rest (its audio, further values
// of the project file).
#include <string>

struct KVRegion {
    std::string name;
    std::string fileName;  // the source file's name without its folder
    long long start = 0;   // frames
    long long end = 0;     // frames, one past the last

    bool operator==(const KVRegion&) const = default;
};
