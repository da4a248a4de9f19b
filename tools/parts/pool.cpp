#include "parts/pool.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <list>
#include <map>

#include "base/messages.h"
#include "core/fatal_error.h"
#include "parts/memory_file.h"
#include "parts/run_process.h"
#include "parts/run_progress.h"
#include "parts/worker.h"
#include "state/run_state.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int mostCrashes = 2;  // of one image: then it is the image's fault
constexpr char memoryMessage[] = "Erreur : pas assez de memoire ";

struct Worker {
    pid_t process = -1;  // below 0: it has ended
    bool busy = false;
    int32_t order = 0;
    Clock::time_point lastSave;
    WorkerShared shared;
    WorkerOutcome outcome;
};

struct Pool {
    const PoolTask& task;
    std::set<int32_t> waiting;
    std::list<Worker> workers;  // those that have ended, too
    int nextPart;               // number
    std::map<int32_t, int> crashes;
    bool saves = true;  // until a save fails
    RunProgress progress;
    PoolOutcome outcome;
};

CompositeSum* shareSums(const RunIdentity& identity) {
    const size_t size =
        static_cast<size_t>(identity.width) * static_cast<size_t>(identity.height) * sizeof(CompositeSum);
    if (size == 0) return runState.compositeName == nullptr ? nullptr : new CompositeSum[0];
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) stopForMemory();
    return static_cast<CompositeSum*>(memory);
}

void startWorker(Pool& pool) {
    Worker& worker = pool.workers.emplace_back();
    worker.outcome.partPath = namePart(pool.task.folder, pool.nextPart++);
    worker.outcome.sums = worker.shared.sums = shareSums(pool.task.identity);
    int sockets[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) stopForMemory();
    worker.shared.console = makeMemoryFile();
    worker.shared.shiftLines = makeMemoryFile();
    const int parent = getpid();
    std::fflush(nullptr);  // what is still buffered must not be written twice
    worker.process = fork();
    if (worker.process < 0 || worker.shared.console < 0 || worker.shared.shiftLines < 0) stopForMemory();
    if (worker.process == 0) {
        // The other workers' sockets would keep them from seeing that the parent has closed them.
        for (const Worker& other : pool.workers) {
            if (other.shared.socket >= 0) close(other.shared.socket);
        }
        close(sockets[0]);
        worker.shared.socket = sockets[1];
        work(parent, worker.shared, pool.task.identity, worker.outcome.partPath);
    }
    close(sockets[1]);
    worker.shared.socket = sockets[0];
    worker.lastSave = Clock::now();
}

// Returns how the process ended, in the words of waitpid.
int closeWorker(Worker& worker) {
    close(worker.shared.socket);
    worker.shared.socket = -1;
    int state = 0;
    while (waitpid(worker.process, &state, 0) < 0 && errno == EINTR) {
    }
    worker.process = -1;
    worker.busy = false;
    return state;
}

bool isSaveDue(const Pool& pool, const Worker& worker) {
    const std::chrono::duration<double> sinceSave = Clock::now() - worker.lastSave;
    return pool.saves && worker.outcome.allWritten && worker.outcome.entries.size() > worker.outcome.saved &&
           sinceSave.count() >= pool.task.secondsToSave;
}

void giveOrder(Pool& pool, Worker& worker) {
    if (pool.waiting.empty()) return;
    if (isSaveDue(pool, worker)) {
        worker.order = orderToSave;
    } else {
        worker.order = *pool.waiting.begin();
        pool.waiting.erase(pool.waiting.begin());
    }
    worker.busy = true;
    (void)sendOrder(worker.shared, worker.order);  // to one that is gone: its report will say so
}

void takeSaveReport(Pool& pool, Worker& worker, const ImageRecord& report) {
    worker.lastSave = Clock::now();
    if (report.console.empty()) {
        worker.outcome.saved = worker.outcome.entries.size();
        return;
    }
    pool.saves = false;
    endRunProgress(pool.progress);
    printNotice(tr("%s Nothing is saved from now on; the run goes on."), report.console.c_str());
}

void takeImageReport(Pool& pool, Worker& worker, const ImageRecord& report) {
    worker.outcome.entries.push_back(report.facts.entry);
    if (report.facts.opened && !report.facts.written) worker.outcome.allWritten = false;
    stepRunProgress(pool.progress, report.facts);
    pool.outcome.records.push_back(report);
}

// The run ends there, unless an earlier image ends it too: those before it are still to be done.
void endAt(Pool& pool, int32_t entry, const ImageRecord& words, int status) {
    if (pool.outcome.fatalEntry != 0 && pool.outcome.fatalEntry < entry) return;
    pool.outcome.fatalEntry = entry;
    pool.outcome.fatalWords = words;
    pool.outcome.fatalStatus = status;
}

int countAlive(const Pool& pool) {
    return static_cast<int>(
        std::count_if(pool.workers.begin(), pool.workers.end(), [](const Worker& w) { return w.process >= 0; }));
}

// Its sums may be half added up: all that it did counts for nothing.
void forgetWork(Pool& pool, Worker& worker) {
    WorkerOutcome& done = worker.outcome;
    for (const int32_t entry : done.entries) pool.waiting.insert(entry);
    std::erase_if(pool.outcome.records, [&done](const ImageRecord& record) {
        return std::find(done.entries.begin(), done.entries.end(), record.facts.entry) != done.entries.end();
    });
    unlink(done.partPath.c_str());
    const RunIdentity& identity = pool.task.identity;
    const size_t count = static_cast<size_t>(identity.width) * static_cast<size_t>(identity.height);
    if (done.sums != nullptr) std::fill_n(done.sums, count, CompositeSum{});
    done.entries.clear();
    done.saved = 0;
}

// The image that a worker died at is tried again by another. As long as there are others it is not replaced: what it
// lacked is mostly memory.
void tryAgain(Pool& pool, int32_t order) {
    endRunProgress(pool.progress);
    if (order == orderToSave) {
        pool.saves = false;
        printNotice("%s", tr("a process ended while it saved its work; the run goes on without saving."));
    } else {
        pool.waiting.insert(order);
        printNotice(tr("a process ended at image %i, which another one tries again."), order);
    }
}

void buryWorker(Pool& pool, Worker& worker) {
    const int state = closeWorker(worker);
    ImageRecord words;
    words.console = takeContents(worker.shared.console);
    words.shiftLine = takeContents(worker.shared.shiftLines);
    close(worker.shared.console);
    close(worker.shared.shiftLines);
    const std::string message = findFatalMessage(words.console);
    if (WIFSIGNALED(state) && WTERMSIG(state) == SIGABRT && !message.empty()) {
        if (message.ends_with(memoryMessage) && countAlive(pool) > 0) {
            tryAgain(pool, worker.order);
        } else {
            endAt(pool, worker.order, words, statusFatal);
        }
    } else {
        forgetWork(pool, worker);
        if (worker.order != orderToSave && ++pool.crashes[worker.order] >= mostCrashes) {
            endAt(pool, worker.order, words, WIFSIGNALED(state) ? 128 + WTERMSIG(state) : 2);
        } else {
            tryAgain(pool, worker.order);
        }
    }
    const int32_t end = pool.outcome.fatalEntry;
    if (end != 0) pool.waiting.erase(pool.waiting.lower_bound(end), pool.waiting.end());
    if (!pool.waiting.empty() && countAlive(pool) == 0) startWorker(pool);
}

void takeReport(Pool& pool, Worker& worker) {
    ImageRecord report;
    if (!receiveReport(worker.shared, report)) {
        buryWorker(pool, worker);
        return;
    }
    worker.busy = false;
    if (worker.order == orderToSave) {
        takeSaveReport(pool, worker, report);
    } else {
        takeImageReport(pool, worker, report);
    }
}

// Until no worker has anything to do.
void driveWorkers(Pool& pool) {
    while (true) {
        if (stopSignal() != 0) pool.waiting.clear();
        std::vector<pollfd> polled;
        std::vector<Worker*> busy;
        for (Worker& worker : pool.workers) {
            if (worker.process >= 0 && !worker.busy) giveOrder(pool, worker);
            if (!worker.busy) continue;
            busy.push_back(&worker);
            polled.push_back({.fd = worker.shared.socket, .events = POLLIN, .revents = 0});
        }
        if (busy.empty()) return;
        if (poll(polled.data(), polled.size(), -1) < 0) continue;  // a signal
        for (size_t i = 0; i < busy.size(); ++i) {
            if (polled[i].revents != 0) takeReport(pool, *busy[i]);
        }
    }
}

}  // namespace

PoolOutcome runPool(const PoolTask& task, const std::vector<ImageRecord>& doneBefore) {
    Pool pool{.task = task,
              .waiting = task.entries,
              .workers = {},
              .nextPart = findFreeNumber(task.folder),
              .crashes = {},
              .progress = startRunProgress(runState.imageCount, doneBefore),
              .outcome = {}};
    const size_t processes = std::min(static_cast<size_t>(task.processes), task.entries.size());
    for (size_t i = 0; i < processes; ++i) startWorker(pool);
    driveWorkers(pool);
    endRunProgress(pool.progress);
    for (Worker& worker : pool.workers) {
        if (worker.process >= 0) closeWorker(worker);
        pool.outcome.workers.push_back(worker.outcome);
    }
    return std::move(pool.outcome);
}

void savePool(const PoolOutcome& outcome, const RunIdentity& identity) {
    for (const WorkerOutcome& worker : outcome.workers) {
        if (!worker.allWritten || worker.entries.size() == worker.saved) continue;
        const std::set<int32_t> entries(worker.entries.begin(), worker.entries.end());
        std::vector<ImageRecord> records;
        for (const ImageRecord& record : outcome.records) {
            if (entries.contains(record.facts.entry)) records.push_back(record);
        }
        const std::string problem = writePart(worker.partPath, identity, records, worker.sums);
        if (problem.empty()) continue;
        printNotice("%s", problem.c_str());
        return;
    }
}
