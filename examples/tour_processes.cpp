// Processes: a child with arguments, a working directory and an environment
// entry, its exit code, and a small tree stopped as a whole.
#include <cstdio>
#include <vector>

#include "qrixPProcess.h"
#include "qrixPThread.h"
#include "tour.h"

namespace {

void runChild()
{
    // Arguments are split on blanks, so the shell's own ${IFS} joins the words
    // of its script.
    std::vector<PString> env = {L"TOUR_GREETING=hello from the child"};
    PProcess child(L"/bin/sh", L"-c pwd;printenv${IFS}TOUR_GREETING;exit${IFS}3", L"/tmp", env);
    int rc = child.start();
    std::printf("start -> %d\n", rc);
    int exitCode = 0;
    rc = child.waitExitCode(exitCode);
    std::printf("waitExitCode -> %d, exit code %d\n", rc, exitCode);
}

void stopTree()
{
    // A shell that leaves one sleeping child and becomes a sleep itself.
    unsigned int root = 0;
    int rc = PProcess::start(L"/bin/sh", L"-c /bin/sleep${IFS}30&exec${IFS}/bin/sleep${IFS}30", root);
    std::printf("tree root started -> %d, pid %u\n", rc, root);
    if (rc != PRES_OK)
        return;
    std::vector<unsigned int> children;
    for (int i = 0; i < 50 && children.empty(); ++i) {
        PThread::psleep(100);
        PProcess::getChildPID(root, children);
    }
    std::printf("root has %zu child(ren)\n", children.size());
    rc = PProcess::killTree(root);
    bool running = true;
    PProcess::isRunning(root, running);
    std::printf("killTree -> %d, root running: %d\n", rc, (int)running);
}

} // namespace

void tourProcesses()
{
    runChild();
    stopTree();
}
