#include "libwin32/Subprocess.h"

#include "Support.h"
#include "libwin32/ChildPipe.h"

#include <gtest/gtest.h>

using win32::Subprocess;

TEST(Subprocess, CapturesMoreThanThePipesHold) {
    Subprocess child(support::child(L"write 300500"));
    EXPECT_THROW(child.takeOutput(), win32::StillPendingError);
    child.wait();
    EXPECT_EQ(child.exitCode(), 0U);
    EXPECT_EQ(child.takeOutput(), std::string(300500, 'o'));
    EXPECT_EQ(child.takeErrorOutput(), std::string(300500, 'e'));
    EXPECT_THROW(child.takeOutput(), win32::AlreadyReadError);
}

TEST(Subprocess, WaitEndsAtTheLimitOrWhenCanceled) {
    Subprocess child(support::child(L"sleep"));
    EXPECT_THROW(child.wait(0), win32::TimeoutError);
    EXPECT_THROW(child.wait(20), win32::TimeoutError);
    EXPECT_EQ(child.exitCode(), static_cast<std::uint32_t>(STILL_ACTIVE));
    child.cancelEvent().set();
    EXPECT_THROW(child.wait(), win32::CanceledError);
}

TEST(Subprocess, NothingOutlivesIt) {
    win32::UniqueHandle process;
    win32::UniqueHandle grandchild;
    {
        Subprocess sleeping(support::child(L"sleep"));
        process.reset(OpenProcess(SYNCHRONIZE, FALSE, sleeping.processId()));
        Subprocess spawning(support::child(L"spawn"));
        // The grandchild keeps the pipes open: the wait ends with the child all the same.
        spawning.wait();
        grandchild.reset(OpenProcess(SYNCHRONIZE, FALSE, std::stoul(spawning.takeOutput())));
        ASSERT_TRUE(process && grandchild);
        EXPECT_EQ(WaitForSingleObject(grandchild.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    }
    EXPECT_EQ(WaitForSingleObject(process.get(), 10000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(grandchild.get(), 10000), WAIT_OBJECT_0);
}

TEST(OverlappedRead, TellsABrokenPipe) {
    auto pipe = win32::createChildPipe(win32::PipeAccess::Overlapped);
    win32::OverlappedRead read(pipe.server.get());
    pipe.client.reset();
    read.start();
    EXPECT_THROW(read.take(), win32::BrokenPipeError);
}
