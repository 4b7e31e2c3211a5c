"""EEG- and ECG-like signals with 50 Hz, cleaned by kalim and, where it is installed, by MNE.

    biosignals.py            prints a table
"""

import time
import warnings

import numpy as np

import kalim

RATES = (250, 500, 1000, 5000)
SECONDS = 60
MAINS = 50.0

#: MNE's spectrum fit takes minutes above it.
HIGHEST_FIT_RATE = 1000


def make_clock(rate):
    return np.arange(SECONDS * rate) / rate


def make_eeg(rate, channels=8, seed=1):
    """Volts: noise that falls with frequency, an alpha rhythm that comes and goes, white noise."""
    rng = np.random.default_rng(seed)
    clock = make_clock(rate)
    frequencies = np.fft.rfftfreq(clock.size, 1 / rate)
    shape = 1 / np.maximum(frequencies, 0.5)
    eeg = np.empty((channels, clock.size))
    for channel in eeg:
        phases = rng.uniform(0, 2 * np.pi, frequencies.size)
        falling = np.fft.irfft(shape * np.exp(1j * phases), clock.size)
        channel[:] = 15e-6 * falling / np.std(falling)
        alpha = np.sin(2 * np.pi * 10.2 * clock) * (np.sin(2 * np.pi * 0.07 * clock) > 0)
        channel += 8e-6 * alpha + rng.normal(0, 0.5e-6 * np.sqrt(rate / 250), clock.size)
    return eeg


def make_ecg(rate, seed=2):
    """Volts: one lead, P, QRS and T as humps, 66 beats a minute that vary, a wandering base."""
    rng = np.random.default_rng(seed)
    clock = make_clock(rate)
    ecg = 1e-4 * np.sin(2 * np.pi * 0.2 * clock) + rng.normal(0, 5e-6, clock.size)
    beat = 0.4
    waves = (
        (-0.17, 0.022, 0.12),
        (-0.025, 0.008, -0.12),
        (0, 0.009, 1.1),
        (0.028, 0.009, -0.25),
        (0.25, 0.045, 0.3),
    )
    while beat < SECONDS:
        for delay, width, size in waves:
            ecg += 1e-3 * size * np.exp(-0.5 * ((clock - beat - delay) / width) ** 2)
        beat += 0.91 + rng.normal(0, 0.03)
    return ecg[np.newaxis]


def make_hum(rate, channels, amplitude, seed=3):
    """Mains as they are: 50 Hz that drifts by some hundredths, with odd harmonics."""
    rng = np.random.default_rng(seed)
    clock = make_clock(rate)
    frequency = MAINS + 0.02 * np.sin(2 * np.pi * clock / 47) + 0.01
    phase = 2 * np.pi * np.cumsum(frequency) / rate
    hum = np.zeros((channels, clock.size))
    for number, size in ((1, 1.0), (2, 0.05), (3, 0.3), (5, 0.15), (7, 0.08)):
        if number * MAINS < 0.45 * rate:
            share = rng.uniform(0.5, 1.0, (channels, 1))
            hum += amplitude * size * share * np.sin(number * phase + rng.uniform(0, 6))
    return hum


def clean_by_mne(x, rate, **options):
    """MNE's notches at all harmonics that the precise remover may take."""
    import mne

    multiples = np.arange(MAINS, 0.45 * rate, MAINS)
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # filters that are long for the recording
        return mne.filter.notch_filter(x, rate, multiples, verbose="error", **options)


def list_ways():
    ways = {
        "kalim, precise": lambda x, rate: kalim.remove(x, rate, mains=MAINS),
        "kalim, tracking": lambda x, rate: kalim.remove(
            x, rate, method="tracking", harmonics=7, adaptivity=1
        ),
    }
    try:
        import mne.filter  # noqa: F401
    except ImportError:
        return ways
    ways["MNE, FIR"] = clean_by_mne
    ways["MNE, spectrum fit"] = lambda x, rate: clean_by_mne(
        x, rate, method="spectrum_fit", filter_length="10s"
    )
    return ways


def decibels(part, whole):
    return 10 * np.log10(np.mean(np.square(part)) / np.mean(np.square(whole)))


def measure(clean, hum, rate, way):
    """What is left of the hum and what is done to the signal without it, in dB, and seconds."""
    start = time.perf_counter()
    error = way(clean + hum, rate) - clean
    taken = time.perf_counter() - start
    harm = way(clean, rate) - clean
    return decibels(error, hum), decibels(harm, clean) if np.any(harm) else -np.inf, taken


def main():
    print(f"{'signal':6} {'rate':>5} {'way':18} {'error':>9} {'harm':>9} {'time':>7}")
    for name, make, amplitude in (("EEG", make_eeg, 20e-6), ("ECG", make_ecg, 2e-4)):
        for rate in RATES:
            clean = make(rate)
            hum = make_hum(rate, len(clean), amplitude)
            for way, function in list_ways().items():
                if way == "MNE, spectrum fit" and rate > HIGHEST_FIT_RATE:
                    continue
                error, harm, taken = measure(clean, hum, rate, function)
                print(f"{name:6} {rate:5} {way:18} {error:6.1f} dB {harm:6.1f} dB {taken:5.2f} s")


if __name__ == "__main__":
    main()
