#pragma once

#include <string>

namespace tarn::device {

struct DeviceId;

// A printer's name as people say it: maker and model, the maker once.
//
// A text names its maker when it begins with the maker's name, with one word of it ("Acme Printing Systems",
// "Acme Jet 5") or with its initials ("North-Western", "NW Jet 5"). Case, punctuation and legal forms
// ("Inc.", "Co., Ltd.") do not count.

// The model, with the manufacturer before it where the model does not name that. Empty without a model.
std::string makeAndModel(const std::string& manufacturer, const std::string& model);

// Of a text in which the maker may stand twice ("Acme ACME Jet 5", "North-Western NW Jet 5"): less the first.
std::string withMakerOnce(const std::string& text);

// Of what the ID says; its description where it names no model.
std::string makeAndModel(const DeviceId& id);

} // namespace tarn::device
