#include "parts/worker.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <vector>

#include "parts/run_process.h"
#include "state/run_state.h"

namespace {

bool sendBytes(int socket, const void* bytes, size_t count) {
    const char* next = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t sent = send(socket, next, count, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        next += sent;
        count -= static_cast<size_t>(sent);
    }
    return true;
}

bool receiveBytes(int socket, void* bytes, size_t count) {
    char* next = static_cast<char*>(bytes);
    while (count > 0) {
        const ssize_t got = recv(socket, next, count, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        next += got;
        count -= static_cast<size_t>(got);
    }
    return true;
}

bool sendText(int socket, const std::string& text) {
    const size_t size = text.size();
    return sendBytes(socket, &size, sizeof size) && sendBytes(socket, text.data(), size);
}

bool receiveText(int socket, std::string& text) {
    size_t size = 0;
    if (!receiveBytes(socket, &size, sizeof size)) return false;
    text.resize(size);
    return receiveBytes(socket, text.data(), size);
}

bool sendReport(int socket, const ImageRecord& report) {
    return sendBytes(socket, &report.facts, sizeof report.facts) && sendText(socket, report.shiftLine) &&
           sendText(socket, report.console);
}

// A part promises that the results of its images are there: they must not be lost with the power either.
void syncResults(const std::vector<ImageRecord>& records, size_t first) {
    for (size_t i = first; i < records.size(); ++i) {
        const int file = open(runState.resultNames[records[i].facts.entry], O_RDONLY | O_CLOEXEC);
        if (file < 0) continue;
        fdatasync(file);
        close(file);
    }
}

}  // namespace

void work(int parent, const WorkerShared& shared, const RunIdentity& identity, const std::string& partPath) {
    endWithParent(parent);
    std::signal(SIGINT, SIG_IGN);  // its parent knows what to do
    std::signal(SIGTERM, SIG_IGN);
    dup2(shared.console, STDOUT_FILENO);
    runState.shiftList = fdopen(shared.shiftLines, "w");
    runState.compositeSum = shared.sums;
    std::vector<ImageRecord> records;
    size_t saved = 0;
    for (int32_t order = 0; receiveBytes(shared.socket, &order, sizeof order);) {
        ImageRecord report;
        if (order == orderToSave) {
            syncResults(records, saved);
            saved = records.size();
            report.console = writePart(partPath, identity, records, shared.sums);
        } else {
            report = takeImage(order, shared.shiftLines);
            records.push_back(report);
        }
        if (!sendReport(shared.socket, report)) break;
    }
    _exit(0);
}

bool sendOrder(const WorkerShared& shared, int32_t order) {
    return sendBytes(shared.socket, &order, sizeof order);
}

bool receiveReport(const WorkerShared& shared, ImageRecord& report) {
    return receiveBytes(shared.socket, &report.facts, sizeof report.facts) &&
           receiveText(shared.socket, report.shiftLine) && receiveText(shared.socket, report.console);
}
