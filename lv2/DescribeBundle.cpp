// Writes what hosts read before they load the plug-ins:
//
//   describe FOLDER LIBRARY VERSION MAKER LICENCE

#include "lv2/Plugins.h"

#include <cctype>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace
{

using kalim::lv2::Control;
using kalim::lv2::Method;
using kalim::lv2::PluginKind;
using kalim::lv2::PortOrder;

constexpr const char* project = "urn:orvotech:kalim-core";
constexpr const char* descriptionFile = "kalim-core.ttl";

struct Release
{
    std::string library;
    std::string version;
    std::string maker;
    std::string licence;
};

/// "UpperCamelCase" as "Upper Camel Case".
std::string spaceOut(std::string_view name)
{
    std::string words;
    for (const char letter : name)
    {
        if (std::isupper(static_cast<unsigned char>(letter)) != 0 && !words.empty())
            words += ' ';
        words += letter;
    }
    return words;
}

/// The statement about a unit, which is nothing for a plain number.
std::string describeUnit(std::string_view unit)
{
    if (unit.empty())
        return {};
    if (unit == "Hz/s")
        return "    units:unit [ a units:Unit ; rdfs:label \"hertz per second\" ;\n"
               "      units:symbol \"Hz/s\" ; units:render \"%f Hz/s\" ] ;\n";
    const std::string name = unit == "Hz" ? "hz" : unit == "ms" ? "ms" : unit == "%" ? "pc" : "";
    if (name.empty())
        throw std::runtime_error("describe: unknown unit " + std::string(unit));
    return "    units:unit units:" + name + " ;\n";
}

std::string describeKind(const Control& control)
{
    std::string properties;
    if (control.kind == Control::Kind::toggle)
        properties = "    lv2:portProperty lv2:toggled ;\n";
    if (control.kind == Control::Kind::whole)
        properties = "    lv2:portProperty lv2:integer ;\n";
    if (control.kind == Control::Kind::choice)
        properties = "    lv2:portProperty lv2:integer , lv2:enumeration ;\n";
    if (control.note == Control::Note::idle)
        properties += "    lv2:portProperty pprops:notOnGUI ;\n";
    if (control.note == Control::Note::interrupts)
        properties += "    lv2:portProperty pprops:causesArtifacts , pprops:notAutomatic ;\n";
    return properties;
}

std::string describeControl(const Control& control)
{
    std::ostringstream text;
    text << "    a lv2:InputPort , lv2:ControlPort ;\n"
         << "    lv2:symbol \"" << control.symbol << "\" ;\n"
         << "    lv2:name \"" << spaceOut(control.name) << "\" ;\n"
         << "    rdfs:comment \"" << control.comment << ".\" ;\n"
         << describeKind(control) << describeUnit(control.unit);
    for (const auto& point : control.points)
        text << "    lv2:scalePoint [ rdfs:label \"" << point.label << "\" ; rdf:value "
             << point.value << " ] ;\n";
    text << "    lv2:default " << control.defaultValue << " ; lv2:minimum " << control.min
         << " ; lv2:maximum " << control.max << " ;\n";
    return text.str();
}

/// Several channels that one cable carries: some hosts take a plug-in for so many mono lines
/// otherwise, and leave it out.
std::string describeGroup(const PluginKind& kind, bool isInput)
{
    const char* const direction = isInput ? "in" : "out";
    std::ostringstream text;
    text << "\n<" << kind.uri << ":" << direction << ">\n"
         << "  a " << (isInput ? "pg:InputGroup" : "pg:OutputGroup") << " , "
         << (kind.numChannels == 2 ? "pg:StereoGroup" : "pg:DiscreteGroup") << " ;\n"
         << "  lv2:symbol \"" << direction << "\" ;\n"
         << "  lv2:name \"" << (isInput ? "Input" : "Output") << "\" .\n";
    return text.str();
}

std::string describeAudio(const PluginKind& kind, bool isInput, std::size_t channel)
{
    std::ostringstream text;
    text << "    a " << (isInput ? "lv2:InputPort" : "lv2:OutputPort") << " , lv2:AudioPort ;\n"
         << "    lv2:symbol \"" << (isInput ? "audio_in_" : "audio_out_") << channel + 1 << "\" ;\n"
         << "    lv2:name \"" << (isInput ? "Input " : "Output ") << channel + 1 << "\" ;\n";
    if (kind.numChannels > 1)
        text << "    pg:group <" << kind.uri << (isInput ? ":in> ;\n" : ":out> ;\n");
    if (kind.numChannels == 2)
        text << "    lv2:designation " << (channel == 0 ? "pg:left ;\n" : "pg:right ;\n");
    return text.str();
}

/// No lv2:toggled, which some hosts take for off unless told otherwise.
constexpr const char* enabledPort = R"(    a lv2:InputPort , lv2:ControlPort ;
    lv2:symbol "enabled" ;
    lv2:name "Enabled" ;
    rdfs:comment "Off, the sound passes as late as otherwise." ;
    lv2:designation lv2:enabled ;
    lv2:portProperty lv2:integer , lv2:enumeration ;
    lv2:scalePoint [ rdfs:label "Off" ; rdf:value 0 ] , [ rdfs:label "On" ; rdf:value 1 ] ;
    lv2:default 1 ; lv2:minimum 0 ; lv2:maximum 1 ;
)";

constexpr const char* latencyPort = R"(    a lv2:OutputPort , lv2:ControlPort ;
    lv2:symbol "latency" ;
    lv2:name "Latency" ;
    lv2:designation lv2:latency ;
    lv2:portProperty lv2:reportsLatency , lv2:integer , pprops:notOnGUI ;
    units:unit units:frame ;
    lv2:minimum 0 ; lv2:maximum 1048576 ;
)";

constexpr const char* fundamentalPort = R"(    a lv2:OutputPort , lv2:ControlPort ;
    lv2:symbol "followed" ;
    lv2:name "Followed Fundamental" ;
    rdfs:comment "Frequency of the hum at present, 0 where none is being removed." ;
    units:unit units:hz ;
    lv2:minimum 0 ; lv2:maximum 1000 ;
)";

std::string describePort(const PluginKind& kind, std::size_t index)
{
    const PortOrder order(kind);
    if (index < order.getOutput(0))
        return describeAudio(kind, true, index);
    if (index < order.getEnabled())
        return describeAudio(kind, false, index - order.getOutput(0));
    if (index == order.getEnabled())
        return enabledPort;
    if (index == order.getLatency())
        return latencyPort;
    if (index == order.getFundamental())
        return fundamentalPort;
    return describeControl(kind.getControls()[index - order.getControl(0)]);
}

std::string getComment(Method method)
{
    if (method == Method::tracking)
        return "Follows mains hum and subtracts a tracked copy of each harmonic, one hop late, or "
               "cuts notches without a delay.";
    return "Removes mains hum of 50 or 60 Hz with all its harmonics as a whole. Where no hum is "
           "certain the sound passes unchanged.";
}

void describePlugin(std::ostream& text, const PluginKind& kind, const Release& release)
{
    const std::size_t dot = release.version.find('.');
    const std::size_t secondDot = release.version.find('.', dot + 1);
    text << "\n<" << kind.uri << ">\n"
         << "  a lv2:Plugin , lv2:FilterPlugin ;\n"
         << "  lv2:project <" << project << "> ;\n"
         << "  doap:name \"" << kind.name << "\" ;\n"
         << "  doap:license <" << release.licence << "> ;\n"
         << "  rdfs:comment \"" << getComment(kind.method) << "\" ;\n"
         << "  lv2:minorVersion " << release.version.substr(dot + 1, secondDot - dot - 1) << " ;\n"
         << "  lv2:microVersion " << release.version.substr(secondDot + 1) << " ;\n"
         << "  lv2:optionalFeature lv2:hardRTCapable ;\n";
    if (kind.numChannels > 1)
        text << "  pg:mainInput <" << kind.uri << ":in> ;\n"
             << "  pg:mainOutput <" << kind.uri << ":out> ;\n";
    const std::size_t count = PortOrder(kind).getCount();
    for (std::size_t index = 0; index < count; ++index)
        text << (index == 0 ? "  lv2:port [\n" : "  ] , [\n") << describePort(kind, index)
             << "    lv2:index " << index << "\n";
    text << "  ] .\n";
    if (kind.numChannels > 1)
        text << describeGroup(kind, true) << describeGroup(kind, false);
}

void writeManifest(const std::string& folder, const Release& release)
{
    std::ofstream text(folder + "/manifest.ttl");
    text << "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
            "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n";
    for (const PluginKind& kind : kalim::lv2::plugins)
        text << "\n<" << kind.uri << ">\n"
             << "  a lv2:Plugin ;\n"
             << "  lv2:binary <" << release.library << "> ;\n"
             << "  rdfs:seeAlso <" << descriptionFile << "> .\n";
    text.exceptions(std::ios::failbit);
    text.close();
}

void writeDescription(const std::string& folder, const Release& release)
{
    std::ofstream text(folder + "/" + descriptionFile);
    text << "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
            "@prefix foaf: <http://xmlns.com/foaf/0.1/> .\n"
            "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
            "@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .\n"
            "@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .\n"
            "@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .\n"
            "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n"
            "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n"
         << "\n<" << project << ">\n"
         << "  a doap:Project ;\n"
         << "  doap:name \"Kalim\" ;\n"
         << "  doap:license <" << release.licence << "> ;\n"
         << "  doap:maintainer [ a foaf:Agent ; foaf:name \"" << release.maker << "\" ] .\n";
    for (const PluginKind& kind : kalim::lv2::plugins)
        describePlugin(text, kind, release);
    text.exceptions(std::ios::failbit);
    text.close();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6)
        return 2;
    try
    {
        const Release release{argv[2], argv[3], argv[4], argv[5]};
        writeManifest(argv[1], release);
        writeDescription(argv[1], release);
    }
    catch (const std::exception& error)
    {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
