#pragma once

// What happens to a failure that nobody catches: a fault of the processor, an exception without a handler, an abort.
namespace kelvane::bst {

// No box ever waits for somebody to click, in this process or in those that it starts, and such a failure ends the
// process with 2000, after an event "UnhandledException" and the exit-code file, as far as they can still be had. To be
// called first thing.
void installLastResort() noexcept;

// From now on the last resort leaves its result in this run's exit-code file; before, it is nobody's.
void answerForExitCodeFile(bool afterReboot) noexcept;

} // namespace kelvane::bst
