#include "parts/run_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "base/messages.h"
#include "parts/memory_file.h"
#include "run/steps.h"

namespace {

constexpr char fatalLines[] = "Erreur fatale, appuyez sur entree.\nFatal error. Press return.\n";

volatile std::sig_atomic_t receivedSignal = 0;
volatile std::sig_atomic_t childProcess = 0;  // 0: there is none

void receiveSignal(int signal) {
    receivedSignal = signal;
    if (childProcess > 0) kill(childProcess, signal);
}

// Takes both signals over while it lives.
struct SignalsTaken {
    struct sigaction interrupt {
    }, terminate{};
    SignalsTaken() {
        receivedSignal = 0;
        struct sigaction action {};
        action.sa_handler = receiveSignal;
        sigaction(SIGINT, &action, &interrupt);
        sigaction(SIGTERM, &action, &terminate);
    }
    ~SignalsTaken() {
        sigaction(SIGINT, &interrupt, nullptr);
        sigaction(SIGTERM, &terminate, nullptr);
    }
};

[[noreturn]] void workApart(int parent, int console, int report, const std::string& folder,
                            const std::function<int(std::FILE*)>& work) {
    childProcess = 0;
    endWithParent(parent);
    const struct rlimit none = {};
    setrlimit(RLIMIT_CORE, &none);
    prepareProcess();
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(console, STDOUT_FILENO);
    std::FILE* reportFile = fdopen(report, "w");
    if (!folder.empty() && chdir(folder.c_str()) != 0) {
        printError(tr("%s is no folder that can be entered."), folder.c_str());
        _exit(2);
    }
    const int status = work(reportFile);
    std::fflush(stdout);
    std::fflush(reportFile);
    _exit(status);  // not by exit: what the parent wants done at its end is not done here
}

}  // namespace

int stopSignal() {
    return receivedSignal;
}

void endWithParent(int parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(2);
}

std::string findFatalMessage(const std::string& console) {
    if (!console.ends_with(fatalLines)) return {};
    std::string message = console.substr(0, console.size() - (sizeof fatalLines - 1));
    while (!message.empty() && message.back() == '\n') message.pop_back();
    return message.substr(message.rfind('\n') + 1);  // of no line end it is all
}

ProcessOutcome runApart(const std::string& folder, const std::function<int(std::FILE* report)>& work) {
    const int console = makeMemoryFile(), report = makeMemoryFile(), parent = getpid();
    const SignalsTaken signals;
    std::fflush(nullptr);  // what is still buffered must not be written twice
    const pid_t process = console < 0 || report < 0 ? -1 : fork();
    if (process == 0) workApart(parent, console, report, folder, work);
    ProcessOutcome outcome{.status = 2, .console = {}, .report = {}};
    if (process < 0) {
        printError(tr("no process can be started; close other programs and try again."));
    } else {
        childProcess = process;
        if (receivedSignal != 0) kill(process, receivedSignal);
        int state = 0;
        while (waitpid(process, &state, 0) < 0 && errno == EINTR) {
        }
        childProcess = 0;
        outcome.console = readContents(console);
        outcome.report = readContents(report);
        outcome.status = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
    }
    if (console >= 0) close(console);
    if (report >= 0) close(report);
    return outcome;
}
