#include "report/page.h"

#include <utility>

#include "base/format_text.h"
#include "base/messages.h"
#include "report/html_text.h"
#include "report/page_parts.h"

namespace {

// Nothing may be fetched, whatever stands in a file name.
constexpr const char* security =
    "default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'unsafe-inline'";

std::string heading(const std::string& text) {
    return "<h2>" + escapeHtml(text) + "</h2>\n";
}

std::string showKnown(const std::optional<double>& value) {
    return value ? formatText(*value >= 1000 ? "%.0f" : "%.4g", *value) : "";
}

std::string embedJpeg(const std::string& jpeg, const std::string& attributes) {
    return "<img " + attributes + " src=\"data:image/jpeg;base64," + encodeBase64(jpeg) + "\">";
}

std::string nameFrame(const FrameReport& frame) {
    return formatText(tr("Frame %lld: %s"), static_cast<long long>(frame.number), frame.source.c_str());
}

// What is to be seen of a frame, in a line under its picture.
std::string describeFrame(const FrameReport& frame) {
    std::string text =
        nameFrame(frame) + formatText(tr("; shift %g, %g; angle %.2f°"), frame.shiftX, frame.shiftY, frame.angle);
    if (frame.before && frame.after) {
        text += formatText(tr("; difference %s before, %s after"), showKnown(frame.before).c_str(),
                           showKnown(frame.after).c_str());
    }
    for (const std::string& flag : frame.flags) text += "; " + flag;
    return text;
}

const FrameReport* findFrame(const std::vector<FrameReport>& frames, int64_t number) {
    for (const FrameReport& frame : frames) {
        if (frame.number == number) return &frame;
    }
    return nullptr;
}

bool hasPicture(const PageContents& contents, const FrameReport& frame) {
    for (const PagePicture& picture : contents.pictures.frames) {
        if (picture.number == frame.number) return true;
    }
    return false;
}

std::string listFrame(const PageContents& contents, const FrameReport& frame) {
    std::string item = frame.kept ? "<li><strong>" : "<li class=\"left\"><strong>";
    item += escapeHtml(nameFrame(frame)) + "</strong>";
    for (const std::string& flag : frame.flags) item += "<br>" + escapeHtml(flag + ": " + explainFlag(flag));
    if (hasPicture(contents, frame)) {
        item += formatText("<br><button type=\"button\" data-frame=\"%lld\">", static_cast<long long>(frame.number)) +
                escapeHtml(tr("Look at it")) + "</button>";
    }
    return item + "</li>\n";
}

// Doubtful frames, then those left out.
std::string writeDoubts(const PageContents& contents) {
    std::string doubtful, left;
    for (const FrameReport& frame : contents.frames) {
        if (isDoubtful(frame)) doubtful += listFrame(contents, frame);
        if (!frame.kept) left += listFrame(contents, frame);
    }
    std::string text = heading(tr("Doubtful frames"));
    text += doubtful.empty() ? "<p>" + escapeHtml(tr("None.")) + "</p>\n"
                             : "<ul class=\"frames\">\n" + doubtful + "</ul>\n";
    if (!left.empty()) text += heading(tr("Frames left out")) + "<ul class=\"frames\">\n" + left + "</ul>\n";
    return text;
}

std::string writePair(const PageContents& contents) {
    const PagePictures& pictures = contents.pictures;
    const FrameReport* single = findFrame(contents.frames, pictures.single.number);
    if (pictures.sum.empty() || pictures.single.jpeg.empty() || single == nullptr) return "";
    const std::string sumText = escapeHtml(tr("The sum")), singleText = escapeHtml(nameFrame(*single));
    return heading(tr("The sum beside one frame")) + "<div class=\"pair\">\n<figure>" +
           embedJpeg(pictures.sum, "alt=\"" + sumText + "\"") + "<figcaption>" + sumText +
           "</figcaption></figure>\n<figure>" + embedJpeg(pictures.single.jpeg, "alt=\"" + singleText + "\"") +
           "<figcaption>" + singleText + "</figcaption></figure>\n</div>\n<p class=\"quiet\">" +
           escapeHtml(tr("Both with the same brightness curve.")) + "</p>\n";
}

std::string writeThumbs(const PageContents& contents) {
    std::string thumbs = "<div class=\"thumbs\">\n";
    for (const PagePicture& picture : contents.pictures.frames) {
        const FrameReport* frame = findFrame(contents.frames, picture.number);
        if (frame == nullptr) continue;
        const auto number = static_cast<long long>(frame->number);
        thumbs += formatText("<button type=\"button\" aria-pressed=\"false\" data-number=\"%lld\"%s data-caption=\"",
                             number, isDoubtful(*frame) ? " class=\"doubtful\"" : "") +
                  escapeHtml(describeFrame(*frame)) + "\">" + embedJpeg(picture.jpeg, "alt=\"\"") +
                  escapeHtml(formatText(isDoubtful(*frame) ? tr("%lld doubtful") : tr("frame %lld"), number)) +
                  "</button>\n";
    }
    return thumbs + "</div>\n";
}

std::string writeBlinking(const PageContents& contents) {
    const PagePictures& pictures = contents.pictures;
    if (pictures.frames.empty()) return "";
    const std::string name = formatText(tr("The reference: %s"), contents.script.reference.c_str());
    std::string text = heading(tr("Aligned frames against the reference")) + "<p>";
    text +=
        escapeHtml(tr("Click the picture to change between frame and reference, a small picture to choose its frame."));
    text += "<br><kbd>&larr;</kbd> <kbd>&rarr;</kbd> " + escapeHtml(tr("previous, next frame"));
    text += " &middot; <kbd>" + escapeHtml(tr("space")) + "</kbd> " + escapeHtml(tr("frame or reference"));
    text += " &middot; <kbd>b</kbd> " + escapeHtml(tr("blink on and off")) + "</p>\n";
    text += "<button type=\"button\" id=\"view\"><img id=\"frame\" alt=\"\">" +
            embedJpeg(pictures.reference, "id=\"reference\" hidden alt=\"" + escapeHtml(name) + "\"") +
            "</button>\n<p id=\"caption\" aria-live=\"polite\"></p>\n<div class=\"controls\">";
    const std::pair<const char*, std::string> controls[] = {{"previous", tr("Previous frame")},
                                                            {"next", tr("Next frame")},
                                                            {"toggle", tr("Show reference")},
                                                            {"blink", tr("Blink")}};
    for (const auto& [id, label] : controls) {
        text += formatText("<button type=\"button\" id=\"%s\">", id) + escapeHtml(label) + "</button>\n";
    }
    text += "</div>\n<p class=\"quiet\">";
    text += escapeHtml(formatText(tr("%i x %i pixels at full size; %zu frames of %zu."), pictures.field.width,
                                  pictures.field.height, pictures.frames.size(), contents.frames.size()));
    return text + "</p>\n" + writeThumbs(contents);
}

std::string writeTable(const std::vector<FrameReport>& frames) {
    std::string text = heading(tr("All frames")) +
                       "<div class=\"scroll\" tabindex=\"0\"><table>\n<tr><th class=\"text\">" +
                       escapeHtml(tr("Frame")) + "</th><th>" + escapeHtml(tr("Kept")) + "</th><th>" +
                       escapeHtml(tr("Sharpness")) + "</th><th>" + escapeHtml(tr("Shift")) + "</th><th>" +
                       escapeHtml(tr("Angle")) + "</th><th>" + escapeHtml(tr("Before")) + "</th><th>" +
                       escapeHtml(tr("After")) + "</th><th class=\"text\">" + escapeHtml(tr("Flags")) + "</th></tr>\n";
    for (const FrameReport& frame : frames) {
        std::string flags;
        for (const std::string& flag : frame.flags) flags += (flags.empty() ? "" : " ") + flag;
        text += isDoubtful(frame) ? "<tr class=\"doubtful\">" : frame.kept ? "<tr>" : "<tr class=\"left\">";
        text += formatText("<td class=\"text\">%lld ", static_cast<long long>(frame.number)) +
                escapeHtml(frame.source) + "</td><td>" + escapeHtml(frame.kept ? tr("yes") : tr("no")) + "</td><td>" +
                showKnown(frame.sharpness) + "</td><td>" +
                (frame.aligned ? formatText("%g, %g</td><td>%.2f°", frame.shiftX, frame.shiftY, frame.angle)
                               : "</td><td>") +
                "</td><td>" + showKnown(frame.before) + "</td><td>" + showKnown(frame.after) +
                "</td><td class=\"text\">" + escapeHtml(flags) + "</td></tr>\n";
    }
    return text + "</table></div>\n";
}

std::string writeSetting(const std::string& name, const std::string& value) {
    return "<dt>" + escapeHtml(name) + "</dt><dd>" + escapeHtml(value) + "</dd>\n";
}

std::string writeSettings(const PageContents& contents) {
    const RunScript& script = contents.script;
    std::string text = heading(tr("The run")) + "<dl>\n" + writeSetting(tr("Reference"), script.reference) +
                       writeSetting(tr("Sum"), script.composite);
    const bool turned = script.angleMin != script.angleMax;
    text += writeSetting(tr("Angles"), turned ? formatText(tr("%g to %g degrees"), script.angleMin, script.angleMax)
                                              : std::string(tr("not searched")));
    text +=
        writeSetting(tr("Shifts"), formatText(tr("up to %d pixels in steps of %d, compared over 1/%d of the picture"),
                                              script.shiftMaximum, script.shiftStep, script.translationFraction));
    text += writeSetting(
        tr("Bending"),
        script.blockWidth > 0
            ? formatText(tr("every %d pixels, blocks of %d, up to %d pixels in steps of %g"), script.blockWidth,
                         2 * script.blockSearch + 1, script.blockMaximum, script.blockStep)
            : std::string(tr("none")));
    return text + "</dl>\n<details><summary>" + escapeHtml(tr("The script")) + "</summary><pre class=\"scroll\">" +
           escapeHtml(contents.scriptText) + "</pre></details>\n";
}

}  // namespace

std::string explainFlag(const std::string& flag) {
    if (flag == "reference") return tr("the frame that the others are laid on");
    if (flag == "limit") return tr("the best place lies at the end of the range that was searched: it may lie beyond");
    if (flag == "jump") return tr("its place does not fit the trend of the frames before and behind");
    if (flag == "different") return tr("it differs far more from the reference than the other frames do");
    if (flag == "worse") return tr("it fits the reference worse than it did before it was aligned");
    if (flag == "cut") return tr("the object is cut by the border");
    if (flag == "missing") return tr("the object or the file was not found");
    if (flag == "unreadable") return tr("the file could not be read");
    if (flag == "rank") return tr("less sharp than the frames that were to be kept");
    if (flag == "unmatched") return tr("it could not be laid on the other frames");
    if (flag == "overlap") return tr("it shares too little with the reference");
    if (flag == "dimension") return tr("another size than the first frame");
    if (flag == "depth") return tr("another number of bits than the first frame");
    if (flag == "smeared") return tr("the object is much larger than in the other frames");
    if (flag == "unsure") return tr("too few stars, or too noisy ones, for its turn to be known to 0.1 degree");
    if (flag == "clipped") return tr("its brightest places are clipped");
    if (flag == "unused") return tr("the script does not name it");
    if (flag == "unfinished") return tr("the run ended before it");
    return flag;
}

std::string writePage(const PageContents& contents) {
    // TRANSLATORS: the code of the language, for the page that is written in it: fr for French.
    std::string page =
        "<!DOCTYPE html>\n<html lang=\"" + escapeHtml(tr("en")) + "\">\n<head>\n<meta charset=\"utf-8\">\n";
    page += "<meta http-equiv=\"Content-Security-Policy\" content=\"" + std::string(security) + "\">\n";
    page +=
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<link rel=\"icon\" "
        "href=\"data:,\">\n<title>" +
        escapeHtml(contents.title) + "</title>\n<style>\n" + pageStyle + "</style>\n</head>\n<body>\n<main>\n";
    page += "<h1>" + escapeHtml(contents.title) + "</h1>\n<p>" + escapeHtml(contents.summary) + "</p>\n";
    page += writeDoubts(contents) + writePair(contents) + writeBlinking(contents);
    if (!contents.plots.empty()) {
        page += heading(tr("Plots")) + "<div class=\"plots\">\n";
        for (const std::string& plot : contents.plots) page += plot;
        page += "</div>\n";
    }
    page += writeTable(contents.frames) + writeSettings(contents);
    return page + "</main>\n<script>\n" + pageProgram + "</script>\n</body>\n</html>\n";
}
