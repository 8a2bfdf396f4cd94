#include "ChildProcess.h"

#include "PluginPaths.h"

#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

std::string runInChild(const std::function<std::string()>& body) {
    // The parent owns the temporary directory: a child exits without running atexit handlers, so
    // a directory it made first would never be removed.
    tempDir();
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        return "pipe failed";
    const pid_t pid = fork();
    if (pid < 0)
        return "fork failed";
    if (pid == 0) {
        close(pipeFds[0]);
        const std::string verdict = body();
        const char* at = verdict.data();
        size_t left = verdict.size();
        while (left > 0) {
            const ssize_t written = write(pipeFds[1], at, left);
            if (written <= 0)
                break;
            at += written;
            left -= static_cast<size_t>(written);
        }
        close(pipeFds[1]);
        _exit(0);
    }
    close(pipeFds[1]);
    std::string verdict;
    char chunk[4096];
    ssize_t got;
    while ((got = read(pipeFds[0], chunk, sizeof(chunk))) > 0)
        verdict.append(chunk, got);
    close(pipeFds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status))
        return "child died by signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) != 0)
        return "child exited with " + std::to_string(WEXITSTATUS(status));
    return verdict;
}

}  // namespace testsupport
