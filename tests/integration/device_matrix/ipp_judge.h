#pragma once

#include <json/json.h>

#include <vector>

#include "tests/integration/device_matrix/judge.h"

namespace matrix {

// Compares one device with what expected.json says of its IPP answer: "model", "serial", "pages", "state",
// "K", "C", "M", "Y", "R", the four flags, and "alerts" in plain words ("jam", "ink low"). null: there is
// none (-1, or the empty text). A key that is missing was not recorded. Where a serial number is in dispute,
// "note" may name what is accepted besides.
std::vector<Judgement> judgeIpp(const Reading& reading, const Json::Value& expected);

} // namespace matrix
