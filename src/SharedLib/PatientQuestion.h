#pragma once

#include "ProductLib/InstallerEvents.h"

#include <exception>

namespace kelvane {

// The answer to a question about the machine. A query that fails is no answer: each failure is logged as the event, and
// the question is asked again, three times in all with two seconds between. Throws what the last attempt throws.
template <class Question>
auto askPatiently(const char* failureEvent, Question question) {
    constexpr int attempts = 3;
    constexpr DWORD pauseMs = 2000;
    for (int attempt = 1;; ++attempt) {
        try {
            return question();
        } catch (const std::exception& error) {
            bst::logEvent(bst::LogLevel::Error, failureEvent, {{"ErrorMsg", error.what()}});
            if (attempt == attempts) throw;
        }
        ::Sleep(pauseMs);
    }
}

} // namespace kelvane
