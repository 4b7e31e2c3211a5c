#include "kalim/report/Provenance.h"

#include "audiofile/SoundChecksum.h"
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Version.h"
#include "kalim/report/HumText.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>
#include <pugixml.hpp>
#include <span>
#include <sstream>
#include <string>

namespace kalim::program
{
namespace
{

constexpr const char* identifierType = "local";
constexpr const char* agentName = "Kalim";

/// Appends elements in the namespace of PREMIS.
class Element
{
public:
    explicit Element(pugi::xml_node wrapped)
        : node(wrapped)
    {
    }

    Element add(const std::string& name)
    {
        return Element(node.append_child(("premis:" + name).c_str()));
    }

    Element add(const std::string& name, const std::string& text)
    {
        Element child = add(name);
        child.node.text().set(withoutControls(validUtf8(text)).c_str());
        return child;
    }

    /// `name`Identifier or the like with its type and value.
    Element addIdentifier(const std::string& name, const std::string& value)
    {
        Element child = add(name);
        child.add(name + "Type", identifierType);
        child.add(name + "Value", value);
        return child;
    }

    void setType(const char* type) { node.append_attribute("xsi:type").set_value(type); }

private:
    /// XML has no way to write them.
    static std::string withoutControls(std::string text)
    {
        for (char& character : text)
            if (static_cast<unsigned char>(character) < 0x20U && character != '\n')
                character = ' ';
        return text;
    }

    pugi::xml_node node;
};

void addFile(Element& root, const std::filesystem::path& name, const std::filesystem::path& content,
             const std::string& format, const std::string& event)
{
    Element object = root.add("object");
    object.setType("premis:file");
    object.addIdentifier("objectIdentifier", printable(name));
    Element characteristics = object.add("objectCharacteristics");
    Element fixity = characteristics.add("fixity");
    fixity.add("messageDigestAlgorithm", "SHA-256");
    fixity.add("messageDigest", fileChecksumOf(content));
    characteristics.add("size", fmt::format("{}", std::filesystem::file_size(content)));
    characteristics.add("format").add("formatDesignation").add("formatName", format);
    object.add("originalName", printable(name.filename()));
    object.addIdentifier("linkingEventIdentifier", event);
}

std::string describeMethod(const Report& report)
{
    std::string text =
        fmt::format("mains hum removed by {} {}, method {}", agentName, version, report.method);
    if (report.hum)
        return text + fmt::format(", {:g} % of it", 100.0 * report.strength);
    for (const auto& parameter : orvo::audio::humParameters)
        text += fmt::format(", {} {:g}", parameter.option, report.settings.get(parameter.id));
    return text;
}

std::string describeOutcome(const Report& report)
{
    std::string text = report.hum
                           ? describeHum(*report.hum)
                           : fmt::format("fundamental from {:.2f} Hz to {:.2f} Hz",
                                         report.tracking.getLowest(), report.tracking.getHighest());
    if (report.checksums)
        text += fmt::format("; sound before ({}): MD5 {}, SHA-256 {}; sound after ({}): MD5 {}, "
                            "SHA-256 {}",
                            report.checksums->input.samples, report.checksums->input.md5,
                            report.checksums->input.sha256, report.checksums->output.samples,
                            report.checksums->output.md5, report.checksums->output.sha256);
    for (const std::string& warning : report.warnings)
        text += "; " + warning;
    return text;
}

void addEvent(Element& root, const Report& report, const std::string& event,
              const std::string& time, const std::filesystem::path& input,
              const std::filesystem::path& output)
{
    Element node = root.add("event");
    node.addIdentifier("eventIdentifier", event);
    node.add("eventType", "modification");
    node.add("eventDateTime", time);
    node.add("eventDetailInformation").add("eventDetail", describeMethod(report));
    Element outcome = node.add("eventOutcomeInformation");
    outcome.add("eventOutcome", report.isSalvaged ? "partial" : "success");
    outcome.add("eventOutcomeDetail").add("eventOutcomeDetailNote", describeOutcome(report));
    Element agent = node.addIdentifier("linkingAgentIdentifier", agentName);
    agent.add("linkingAgentRole", "executing program");
    node.addIdentifier("linkingObjectIdentifier", printable(input))
        .add("linkingObjectRole", "source");
    node.addIdentifier("linkingObjectIdentifier", printable(output))
        .add("linkingObjectRole", "outcome");
}

} // namespace

std::filesystem::path provenanceOf(const std::filesystem::path& output)
{
    return output.native() + ".premis.xml";
}

void writeProvenance(OutputFile& file, const Report& report, const std::filesystem::path& input,
                     const std::filesystem::path& output, const std::filesystem::path& written)
{
    const std::string time = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time(nullptr)));
    const std::string event = fmt::format("{} {}", printable(output), time);
    pugi::xml_document document;
    pugi::xml_node node = document.append_child("premis:premis");
    node.append_attribute("xmlns:premis").set_value("http://www.loc.gov/premis/v3");
    node.append_attribute("xmlns:xsi").set_value("http://www.w3.org/2001/XMLSchema-instance");
    node.append_attribute("version").set_value("3.0");
    Element root(node);
    addFile(root, input, input, report.inputFormat, event);
    addFile(root, output, written, report.outputFormat, event);
    addEvent(root, report, event, time, input, output);
    Element agent = root.add("agent");
    agent.addIdentifier("agentIdentifier", agentName);
    agent.add("agentName", agentName);
    agent.add("agentType", "software");
    agent.add("agentVersion", version);
    std::ostringstream text;
    document.save(text, "  ");
    const std::string bytes = text.str();
    file.write(std::as_bytes(std::span(bytes)));
}

} // namespace kalim::program
