#include "dsp/hum/HumParameters.h"
#include "dsp/precise/HumDoubts.h"
#include "dsp/signal/DspCore.h"
#include "python/src/Arrays.h"
#include "python/src/HumStream.h"

#include <array>
#include <optional>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <string>
#include <utility>
#include <vector>

namespace kalim::python
{
namespace
{

namespace py = pybind11;
namespace precise = orvo::audio::precise;
using orvo::audio::HumParameter;

/// While it lives others may use the interpreter, and tiny numbers count as zero, as in the
/// program.
class NativeCall
{
    py::gil_scoped_release release;
    orvo::audio::ScopedFlushToZero flush;
};

/// What the library switches on when it is loaded, before its own static objects are made, must not
/// stay: numpy's tiny numbers would count as zero in the whole interpreter.
std::optional<orvo::audio::ScopedFlushToZero> whileLoading
    __attribute__((init_priority(101))){std::in_place};

/// Lets an interrupt from the keyboard end what takes long.
void checkSignals()
{
    const py::gil_scoped_acquire lock;
    if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
}

py::list describeParameters()
{
    constexpr std::array kinds{"real", "whole", "toggle"};
    py::list parameters;
    for (const HumParameter& parameter : orvo::audio::humParameters)
        parameters.append(
            py::dict(py::arg("option") = parameter.option,
                     py::arg("kind") = kinds[static_cast<std::size_t>(parameter.kind)],
                     py::arg("unit") = parameter.unit, py::arg("min") = parameter.min,
                     py::arg("max") = parameter.max, py::arg("default") = parameter.defaultValue,
                     py::arg("help") = parameter.help));
    return parameters;
}

/// What the Python side has made of the arguments; see PreciseTask.
struct PreciseArguments
{
    std::vector<std::pair<double, double>> ranges{}; ///< none: the usual ones
    double strength = 1.0;
    std::optional<std::pair<std::int64_t, std::int64_t>> learned{}; ///< first, length
    bool residual = false;
    std::optional<bool> normalises{};

    PreciseTask makeTask(double rate) const
    {
        PreciseTask task{rate};
        if (!ranges.empty())
        {
            task.settings.ranges.clear();
            for (const auto& [low, high] : ranges)
                task.settings.ranges.push_back({low, high});
            task.settings.distrustsOthers = false;
        }
        task.settings.strength = strength;
        task.settings.keepsMemory = true;
        if (learned)
            task.learned = Part{learned->first, learned->second};
        task.residual = residual;
        return task;
    }
};

template <typename Sample>
Recording<Sample> viewNormal(const py::array_t<Sample>& array, std::optional<bool> normalises)
{
    Recording<Sample> recording = viewRecording(array);
    const NativeCall call;
    if (normalises.value_or(true))
        recording.normals = findNormals(recording, normalises.value_or(false));
    return recording;
}

template <typename Sample>
py::array_t<Sample> removePrecise(const py::array_t<Sample>& array, double rate,
                                  const PreciseArguments& arguments)
{
    const Recording<Sample> recording = viewNormal(array, arguments.normalises);
    auto output = makeOutput<Sample>(recording.channels, recording.length);
    Sample* const samples = output.mutable_data();
    const NativeCall call;
    runPrecise(recording, arguments.makeTask(rate), samples, checkSignals);
    return output;
}

template <typename Sample>
py::array_t<Sample> removeTracking(const py::array_t<Sample>& array, const EngineTask& task,
                                   std::optional<bool> normalises)
{
    const Recording<Sample> recording = viewNormal(array, normalises);
    auto output = makeOutput<Sample>(recording.channels, recording.length);
    Sample* const samples = output.mutable_data();
    const NativeCall call;
    runEngine(recording, task, samples, checkSignals);
    return output;
}

template <typename Value>
std::vector<Value> toVector(const precise::Series<Value>& values)
{
    return {values.begin(), values.end()};
}

py::dict describe(const precise::HumSummary& hum, const std::vector<Normal>& normals)
{
    constexpr std::array kinds{"none",     "steady",    "tape",
                               "switched", "breathing", "bursts, not hum"};
    py::list harmonics;
    for (const precise::HarmonicSummary& harmonic : hum.getHarmonics())
    {
        const double scale =
            normals.empty() ? 1.0 : normals[static_cast<std::size_t>(harmonic.channel)].scale;
        harmonics.append(py::make_tuple(harmonic.channel, harmonic.harmonic,
                                        harmonic.power / (scale * scale),
                                        harmonic.getProminence()));
    }
    py::list course;
    for (const precise::HumMoment& moment : hum.getCourse())
        course.append(py::make_tuple(moment.time, moment.frequency, moment.gain, moment.isOn));
    const precise::HumDoubts doubts = precise::findDoubtfulHarmonics(hum);
    using py::arg;
    return py::dict(
        arg("kind") = kinds[static_cast<std::size_t>(hum.getKind())], arg("found") = hum.hasHum(),
        arg("fundamental") = hum.getMeanFrequency(), arg("uncertainty") = hum.getUncertainty(),
        arg("lowest") = hum.getLowestFrequency(), arg("highest") = hum.getHighestFrequency(),
        arg("drift") = hum.getDrift(), arg("seconds_of_hum") = hum.getSecondsOfHum(),
        arg("changes") = toVector(hum.getChanges()), arg("harmonics") = harmonics,
        arg("course") = course, arg("unsure") = toVector(doubts.unsure),
        arg("notes") = toVector(doubts.notes));
}

template <typename Sample>
py::dict detect(const py::array_t<Sample>& array, double rate, const PreciseArguments& arguments)
{
    const Recording<Sample> recording = viewNormal(array, arguments.normalises);
    std::optional<precise::HumSummary> hum;
    {
        const NativeCall call;
        hum = runPrecise<Sample>(recording, arguments.makeTask(rate), nullptr, checkSignals);
    }
    return describe(*hum, recording.normals);
}

template <typename Sample>
py::array_t<Sample> processStream(StreamRunner<Sample>& runner, const py::array_t<Sample>& array)
{
    const Recording<Sample> recording = viewRecording(array);
    if (recording.channels != runner.getChannels())
        throw py::value_error("the block has another number of channels");
    auto output = makeOutput<Sample>(recording.channels, recording.length);
    Sample* const samples = output.mutable_data();
    const NativeCall call;
    runner.process(recording, samples);
    return output;
}

template <typename Sample>
py::array_t<Sample> flushStream(StreamRunner<Sample>& runner)
{
    auto output = makeOutput<Sample>(runner.getChannels(), runner.getLatency());
    Sample* const samples = output.mutable_data();
    const NativeCall call;
    runner.flush(samples);
    return output;
}

template <typename Sample>
std::unique_ptr<StreamRunner<Sample>> makeEngineRunner(EngineTask task, int channels, double scale)
{
    const bool residual = task.values[orvo::audio::ResidualMode] > 0.5F;
    if (std::is_same_v<Sample, double>)
        task.values[orvo::audio::ResidualMode] = 1.0F;
    const NativeCall call;
    return std::make_unique<StreamRunner<Sample>>(makeEngineStream(task, channels), channels,
                                                  residual, scale);
}

template <typename Sample>
std::unique_ptr<StreamRunner<Sample>>
makeLiveRunner(double rate, int channels, precise::LiveRemover::Settings settings, double scale)
{
    const bool residual = settings.residual;
    settings.residual = residual || std::is_same_v<Sample, double>;
    const NativeCall call;
    return std::make_unique<StreamRunner<Sample>>(makeLiveStream(rate, channels, settings),
                                                  channels, residual, scale);
}

/// All that depends on the type of the samples.
template <typename Sample>
void addFor(py::module_& module, const std::string& suffix)
{
    using py::arg;
    const auto array = arg("x").noconvert();
    module.def("remove_precise", &removePrecise<Sample>, array, arg("rate"), arg("arguments"));
    module.def("remove_tracking", &removeTracking<Sample>, array, arg("task"), arg("normalises"));
    module.def("detect", &detect<Sample>, array, arg("rate"), arg("arguments"));
    using Runner = StreamRunner<Sample>;
    py::class_<Runner>(module, ("Stream" + suffix).c_str())
        .def("process", &processStream<Sample>, array)
        .def("flush", &flushStream<Sample>)
        .def("reset", &Runner::reset, py::call_guard<NativeCall>())
        .def_property_readonly("latency", &Runner::getLatency)
        .def_property_readonly("fundamental", &Runner::getFundamental);
    module.def(("make_engine_stream" + suffix).c_str(), &makeEngineRunner<Sample>);
    module.def(("make_live_stream" + suffix).c_str(), &makeLiveRunner<Sample>);
}

} // namespace

// Private to the package, whose Python side checks what it hands over.
PYBIND11_MODULE(_core, module)
{
    whileLoading.reset();
    using py::arg;
    module.def("parameters", &describeParameters);
    module.attr("possible_fundamentals") =
        py::make_tuple(precise::possibleFundamentals.lowest, precise::possibleFundamentals.highest);
    py::list usual;
    for (const auto& range : precise::PreciseSettings{}.ranges)
        usual.append(py::make_tuple(range.lowest, range.highest));
    module.attr("usual_ranges") = usual;
    module.def("range_around",
               [](double frequency)
               {
                   const auto range = precise::getRangeAround(frequency);
                   return std::pair(range.lowest, range.highest);
               });
    py::class_<PreciseArguments>(module, "PreciseArguments")
        .def(py::init<std::vector<std::pair<double, double>>, double,
                      std::optional<std::pair<std::int64_t, std::int64_t>>, bool,
                      std::optional<bool>>(),
             arg("ranges"), arg("strength"), arg("learned"), arg("residual"), arg("normalises"));
    py::class_<EngineTask>(module, "EngineTask")
        .def(py::init<double, std::array<float, orvo::audio::numHumParameters>, int>(), arg("rate"),
             arg("values"), arg("block_size"));
    py::class_<precise::LiveRemover::Settings>(module, "LiveSettings")
        .def(py::init<double, double, int, double, bool>(), arg("fundamental"), arg("look_ahead"),
             arg("harmonics"), arg("strength"), arg("residual"));
    addFor<float>(module, "32");
    addFor<double>(module, "64");
}

} // namespace kalim::python
