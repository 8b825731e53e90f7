#pragma once

#include <cstddef>

// A test program that links `simulated_scheduler` has this in place of libtwheel's scheduler: time stands
// still until the test moves it, so that what is due when is exact and no machine is too slow. Each run has a
// thread of its own, as runs of the real one may overlap.
//
// Threading: advance(), reset() and the getters on the test's thread; sleep() inside a run.
namespace kel_test::simulated {

// Milliseconds since the program began.
long now();
// Moves the clock on, to each due time in turn. Goes on when every run has ended or sleeps; throws
// std::runtime_error where one waits for something else.
void advance(long milliseconds);
// Makes the run that calls it last so much longer.
void sleep(long milliseconds);
// How many runs have begun.
std::size_t runs();
// How many tasks are due one day.
std::size_t scheduled();
// Forgets all tasks, and lets what sleeps end.
void reset();

} // namespace kel_test::simulated
