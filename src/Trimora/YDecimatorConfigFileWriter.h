// YDecimatorConfigFileWriter: writes a job file that YDecimatorConfigFileParser reads back as written.
#pragma once

#include <string>

#include "KVString.h"
#include "Trimora/YDecimatorConfigFileParser.h"

// The host script's side of the job file. Layout: the job keys, the job-level input, then one
// block per batch ("StartBatch = <kind>", the batch's input, "EndBatch"). Every input field is
// written, the four input-axis flags always, and each key exactly as the reader spells it.
// A record that this format cannot carry is refused as a whole:
//   - paths holding CR or LF, starting with a blank, ':' or '=', or ending with a blank;
//   - integers that a float cannot hold exactly (the reader scans integers as floats);
//   - floats that are not finite;
//   - an application mode, display mode, symmetry mode or version band that has no word.
// A version band of 0 and empty paths are left out: the reader's defaults give them back.
class YDecimatorConfigFileWriter {
public:
    // The file's text in `text`; false (text empty) when the record is refused.
    static bool buildText(const YDecimatorConfigFileParser& job, std::string& text);
    // buildText, then the text written to the path ("wb"). False when refused or not written;
    // a refused record writes nothing.
    static bool writeFile(const KVString& path, const YDecimatorConfigFileParser& job);
};
