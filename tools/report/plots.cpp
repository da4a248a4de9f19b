#include "report/plots.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

#include "base/format_text.h"
#include "base/messages.h"
#include "report/html_text.h"

namespace {

struct Curve {
    std::string title;
    std::vector<std::optional<double>> values;  // one a frame
};

struct Plot {
    const char* name;  // made part of what gnuplot names within the drawing: a page holds several
    std::string title, unit;
    bool logarithmic;
    std::vector<Curve> curves;
};

// A text within single quotes, as gnuplot reads it.
std::string quote(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? "''" : std::string(1, c == '\n' ? ' ' : c);
    return quoted + "'";
}

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
}

std::string writeProgram(const Plot& plot, const std::vector<FrameReport>& frames) {
    constexpr const char* colours[] = {"#3a86d8", "#d9822b"};  // seen on white as on black
    std::string program =
        "set encoding utf8\nset terminal svg size 440,270 dynamic font 'sans-serif,14' noenhanced\n"
        "set grid\nset key outside top center horizontal\nset yrange [*:*] noextend\nset xrange [*:*] noextend\n"
        "set offsets graph 0.01, graph 0.01, graph 0.05, graph 0.05\n";
    program += "set xlabel " + quote(tr("frame")) + "\nset ylabel " + quote(plot.unit) + '\n';
    if (plot.logarithmic) program += "set logscale y\n";
    std::string doubtful = "$doubtful << END\n", commands;
    bool anyDoubtful = false;
    for (size_t c = 0; c < plot.curves.size(); ++c) {
        program += formatText("$curve%zu << END\n", c);
        for (size_t i = 0; i < frames.size(); ++i) {
            const std::optional<double> value = plot.curves[c].values[i];
            if (!value || (plot.logarithmic && *value <= 0)) continue;
            const std::string point = formatText("%lld %.6g\n", static_cast<long long>(frames[i].number), *value);
            program += point;
            if (isDoubtful(frames[i])) doubtful += point;
            anyDoubtful = anyDoubtful || isDoubtful(frames[i]);
        }
        program += "END\n";
        commands += formatText("%s$curve%zu using 1:2 with linespoints pt 7 ps 0.35 lc rgb '%s' title ",
                               c > 0 ? ", " : "plot ", c, colours[c]) +
                    quote(plot.curves[c].title);
    }
    if (anyDoubtful) {
        commands +=
            ", $doubtful using 1:2 with points pt 6 ps 1.2 lw 2 lc rgb '#e03c31' title " + quote(tr("doubtful"));
    }
    return program + doubtful + "END\n" + commands + '\n';
}

// What gnuplot writes when it is given the program; empty when it is not there.
std::string runGnuplot(const std::string& program) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> input(std::tmpfile(), std::fclose);
    int output[2];
    if (!input || pipe(output) != 0) return "";
    std::fwrite(program.data(), 1, program.size(), input.get());
    std::rewind(input.get());
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fileno(input.get()), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, output[0]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", 1, 0);
    char name[] = "gnuplot", defaults[] = "--default-settings", fromInput[] = "-";
    char* arguments[] = {name, defaults, fromInput, nullptr};
    pid_t child = 0;
    const bool started = posix_spawnp(&child, name, &actions, nullptr, arguments, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(output[1]);
    std::string drawing;
    char bytes[4096];
    for (ssize_t got = 0; started && (got = read(output[0], bytes, sizeof bytes)) > 0;) {
        drawing.append(bytes, static_cast<size_t>(got));
    }
    close(output[0]);
    int status = 0;
    if (started) waitpid(child, &status, 0);
    return started && status == 0 ? drawing : "";
}

// The drawing as a page takes it: without the XML heading, names of its own, black as the page's colour of text.
std::string adaptDrawing(std::string drawing, const Plot& plot) {
    const size_t start = drawing.find("<svg"), titleEnd = drawing.find("</title>");
    if (start == std::string::npos || titleEnd == std::string::npos) return "";
    drawing.erase(0, start);
    const std::string title = escapeHtml(plot.title);
    const size_t from = drawing.find("<title>"), to = drawing.find("</title>");
    if (from < to) drawing.replace(from + 7, to - from - 7, title);
    replaceAll(drawing, "<svg ", "<svg role=\"img\" aria-label=\"" + title + "\" ");
    for (const char mark : {'"', '\''}) {
        const std::string quoted(1, mark), name = std::string(plot.name) + '-';
        replaceAll(drawing, " id=" + quoted, " id=" + quoted + name);
        replaceAll(drawing, "href=" + quoted + "#", "href=" + quoted + "#" + name);
        replaceAll(drawing, "=" + quoted + "black" + quoted, "=" + quoted + "currentColor" + quoted);
        replaceAll(drawing, "color=" + quoted + "currentColor" + quoted, "color=" + quoted + "inherit" + quoted);
    }
    return drawing;
}

std::vector<Plot> makePlots(const std::vector<FrameReport>& frames, int32_t referenceX, int32_t referenceY,
                            bool withAngles) {
    Curve x{"x", {}}, y{"y", {}}, angle{tr("angle"), {}}, sharpness{tr("sharpness"), {}};
    Curve before{tr("before"), {}}, after{tr("after"), {}};
    for (const FrameReport& frame : frames) {
        const auto known = [&frame](double value) { return frame.aligned ? std::optional(value) : std::nullopt; };
        x.values.push_back(known(frame.originX + frame.shiftX - referenceX));
        y.values.push_back(known(frame.originY + frame.shiftY - referenceY));
        angle.values.push_back(known(frame.angle));
        sharpness.values.push_back(frame.sharpness);
        before.values.push_back(frame.before);
        after.values.push_back(frame.after);
    }
    std::vector<Plot> plots = {
        {"drift", tr("Drift: where the reference's origin lies in each frame"), tr("pixels"), false, {x, y}}};
    if (withAngles) plots.push_back({"angle", tr("Turn against the reference"), tr("degrees"), false, {angle}});
    plots.push_back({"sharpness", tr("Sharpness: higher is sharper"), "", false, {sharpness}});
    plots.push_back({"difference", tr("Difference to the reference: lower is better"), "", true, {before, after}});
    return plots;
}

bool hasPoints(const Curve& curve, bool logarithmic) {
    return std::any_of(curve.values.begin(), curve.values.end(),
                       [&](const std::optional<double>& value) { return value && (!logarithmic || *value > 0); });
}

}  // namespace

std::vector<std::string> drawPlots(const std::vector<FrameReport>& frames, int32_t referenceX, int32_t referenceY,
                                   bool withAngles) {
    std::vector<std::string> drawings;
    for (Plot& plot : makePlots(frames, referenceX, referenceY, withAngles)) {
        std::erase_if(plot.curves, [&](const Curve& curve) { return !hasPoints(curve, plot.logarithmic); });
        if (plot.curves.empty()) continue;
        const std::string drawing = adaptDrawing(runGnuplot(writeProgram(plot, frames)), plot);
        if (drawing.empty()) return {};
        drawings.push_back("<figure class=\"plot\"><figcaption>" + escapeHtml(plot.title) + "</figcaption>" + drawing +
                           "</figure>\n");
    }
    return drawings;
}
