#include "libwin32/PipeReader.h"

#include <utility>

namespace win32 {

PipeReader::PipeReader(UniqueHandle pipe) : pipe_(std::move(pipe)), read_(pipe_.get()) { read_.start(); }

void PipeReader::receive() {
    append();
    if (!ended()) read_.start();
}

void PipeReader::finish() {
    while (!ended() && ready().isSignalled())
        receive();
    if (ended()) return;
    read_.cancel();
    append();
    state_ = State::Finished;
}

std::string PipeReader::takeOutput() {
    if (state_ == State::Pending) throw StillPendingError();
    if (state_ == State::Consumed) throw AlreadyReadError();
    state_ = State::Consumed;
    return std::exchange(output_, {});
}

void PipeReader::append() {
    try {
        output_ += read_.take();
    } catch (const BrokenPipeError&) {
        state_ = State::Finished;
    }
}

} // namespace win32
