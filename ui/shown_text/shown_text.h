#pragma once

#include <QString>

#include <string>

// What a widget is given of a text from outside. Laying a text out takes Qt time in proportion to its length,
// and more than that where lines wrap: some megabytes in one label or line stop the window for minutes.
// Nobody reads what is cut here; the texts themselves, and whatever is looked up by them, stay whole. No cut
// goes through a character: neither through its octets in UTF-8 nor between the two halves of a UTF-16 pair.
// Control characters, ends of lines and what turns the direction of a text are blanks: no printer writes over
// what stands beside its texts.
//
// Threading: GUI thread only.

// One line: its beginning, at most 32 Ki octets of UTF-8.
QString shownLine(const std::string& utf8);

// A row of a list or a box, of which many are drawn at once: at most 4096 units of UTF-16.
QString shownRow(const QString& text);

// Items separated by "-" or a line's end, a line each and each cut as by shownLine(): the last ones, as many
// as mostItems (the view's maximumBlockCount()), fewer where these together are longer than 256 Ki units of
// UTF-16: the item that passes that limit is the first one shown.
QString shownItems(const std::string& utf8, int mostItems);
