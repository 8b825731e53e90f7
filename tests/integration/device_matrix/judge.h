#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "tests/integration/device_matrix/reading.h"

namespace matrix {

enum class Verdict
{
    Right,
    Wrong,
    Accepted,    // differs from the files, with a reason
    NotRecorded, // the recording does not hold it, or the files do not say what it should be
};

struct Judgement
{
    std::string field;
    Verdict verdict;
    std::string seen;
    std::string wanted;
    std::string reason; // of Accepted
};

// Compares one device with what the two files say of it. computed: an independent reading of the recording by
// the MIB's rules, decisive; expected: what the recording's source expects, for what computed leaves open.
// values: all texts of the recording, to tell what it does not hold. Either object may be null.
std::vector<Judgement> judge(const Reading& reading, const Json::Value& computed, const Json::Value& expected,
                             const std::vector<std::string>& values);

// All texts of a recording, hexadecimal ones decoded.
std::vector<std::string> textsOfRecording(const std::string& path);

} // namespace matrix
