#include "dsp/signal/FourierTransform.h"

#include "dsp/signal/MathEx.h"

#include <fftw3.h>

#include <mutex>

namespace orvo::audio
{
namespace
{

constexpr int statusOk = 0;
constexpr int statusBadSize = -6;
constexpr int largestSize = 1 << 24;
constexpr int statusNoMemory = -9;

/// Only the library's execution calls may run at the same time; making and destroying plans may
/// not.
std::mutex& plannerMutex()
{
    static std::mutex mutex;
    return mutex;
}

fftwf_complex* asLibraryType(std::complex<float>* values)
{
    return reinterpret_cast<fftwf_complex*>(values);
}

} // namespace

/// A plan of the library. The estimating planner is used because the measuring ones choose by the
/// clock and so would make two runs of the program differ in the last bit.
class FourierTransform::Plan
{
public:
    Plan(int numPoints, bool real)
    {
        using Samples = AlignedVector<float>;
        using Bins = AlignedVector<std::complex<float>>;
        const auto count = static_cast<std::size_t>(numPoints);
        constexpr unsigned int flags = FFTW_ESTIMATE | FFTW_PRESERVE_INPUT;
        Bins output(count);
        const std::lock_guard lock(plannerMutex());
        if (real)
        {
            Samples input(count);
            plan =
                fftwf_plan_dft_r2c_1d(numPoints, input.data(), asLibraryType(output.data()), flags);
        }
        else
        {
            Bins input(count);
            plan = fftwf_plan_dft_1d(numPoints, asLibraryType(input.data()),
                                     asLibraryType(output.data()), FFTW_FORWARD, flags);
        }
    }

    ~Plan()
    {
        const std::lock_guard lock(plannerMutex());
        fftwf_destroy_plan(plan);
    }

    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;

    bool isValid() const { return plan != nullptr; }

    void transformReal(const float* input, std::complex<float>* output) const
    {
        // The library's interface lacks const; the plan was made to preserve its input.
        fftwf_execute_dft_r2c(plan, const_cast<float*>(input), asLibraryType(output));
    }

private:
    fftwf_plan plan = nullptr;
};

FourierTransform::FourierTransform() = default;
FourierTransform::~FourierTransform() = default;

int FourierTransform::allocate(int newSize, bool real)
{
    size = newSize;
    order = newSize > 0 ? MathEx::log2(newSize) : 0;
    isReal = real;
    current = nullptr;
    if (newSize < 1 || newSize > largestSize)
        return statusBadSize;
    const Key key{1 << order, real};
    if (selectKnownPlan(key))
        return statusOk;
    auto plan = std::make_unique<Plan>(key.first, real);
    if (!plan->isValid())
        return statusNoMemory;
    current = plan.get();
    plans.emplace(key, std::move(plan));
    return statusOk;
}

bool FourierTransform::selectKnownPlan(Key key)
{
    const auto known = plans.find(key);
    if (known == plans.end())
        return false;
    current = known->second.get();
    return true;
}

void FourierTransform::forwardReal(const Signal32& input, ComplexSignal32& output)
{
    if (current == nullptr || !isReal || input.getNumSamples() != size)
        allocate(input.getNumSamples(), true);
    if (current == nullptr)
        return;
    for (int channel = 0; channel < input.getNumChannels(); ++channel)
        current->transformReal(input.getReadChannelPtr(channel),
                               output.getWriteChannelPtr(channel));
}

void FourierTransform::releasePlanner() noexcept
{
    // Every plan of the process becomes invalid by this, whoever has made it.
    if constexpr (KALIM_HAS_OWN_FFTW)
        fftwf_cleanup();
}

ComplexSignal32 FourierTransform::forwardReal(const Signal32& input)
{
    ComplexSignal32 output(input.getNumChannels(), input.getNumSamples() / 2 + 1);
    forwardReal(input, output);
    return output;
}

} // namespace orvo::audio
