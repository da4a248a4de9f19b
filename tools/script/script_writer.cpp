#include "script/script_writer.h"

#include <cstdio>

namespace {

constexpr size_t remarkWidth = 110;  // bytes, where a word ends
constexpr size_t remarkLimit = 800;  // bytes, without any; a line of the script must not reach 999

// Cuts before the byte that begins a character: those of UTF-8 that go on one have the form 10xxxxxx.
size_t cutAtCharacter(const std::string& text, size_t end) {
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    return end;
}

void addRemark(std::string& script, std::string text) {
    for (char& letter : text)
        if (static_cast<unsigned char>(letter) < ' ') letter = ' ';
    while (!text.empty()) {
        size_t end = text.size();
        if (end > remarkWidth) {
            end = text.rfind(' ', remarkWidth);
            if (end == std::string::npos || end == 0) end = text.find(' ', remarkWidth);
            if (end == std::string::npos) end = text.size();
            if (end > remarkLimit) end = cutAtCharacter(text, remarkLimit);
        }
        script += "Rem: " + text.substr(0, end) + "\n";
        text.erase(0, text.find_first_not_of(' ', end));
    }
}

std::string format(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::string join(const std::string& name, int32_t x, int32_t y) {
    return name + " " + std::to_string(x) + " " + std::to_string(y);
}

}  // namespace

std::string makeScript(const ScriptPlan& plan) {
    std::string script;
    for (const std::string& remark : plan.introduction) addRemark(script, remark);
    const auto addLine = [&script](const std::string& why, const std::string& line) {
        script += "\n";
        addRemark(script, why);
        script += line + "\n";
    };
    addLine(plan.referenceWhy, "Reference: " + join(plan.reference, plan.originX, plan.originY));
    addLine(plan.translationWhy, "Translation: " + std::to_string(plan.translation));
    if (plan.optiTranslation > 0) {
        addLine(plan.optiTranslationWhy, "OptiTranslation: " + std::to_string(plan.optiTranslation));
    }
    if (plan.angle) {
        addLine(plan.angleWhy, "Angle: " + format(plan.angle->smallest) + " " + format(plan.angle->largest) + " " +
                                   format(plan.angle->resolution));
    }
    if (plan.blocks) {
        addLine(plan.blocksWhy,
                "Bloc: " + join(std::to_string(plan.blocks->grid), plan.blocks->block, plan.blocks->maximum) + " " +
                    format(plan.blocks->step));
    }
    if (!plan.composite.empty()) addLine("", "Compositage: " + plan.composite);
    script += "\n";
    for (const ScriptSource& source : plan.sources) {
        script += "Source: " + join(source.source + " " + source.result, source.originX, source.originY) + "\n";
    }
    if (!plan.epilogue.empty()) script += "\n";
    for (const std::string& remark : plan.epilogue) addRemark(script, remark);
    return script + "\nQuitter:\n";
}
