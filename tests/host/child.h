/* tests/host/child.h: work in a child process, which may kill itself. */
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

/* Gives the wait status of a child that does 'work' and ends with 0 when the work does not end it. */
template <typename work_type> int in_child(work_type work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}
