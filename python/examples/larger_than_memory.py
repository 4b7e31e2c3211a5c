"""A recording larger than memory, cleaned by blocks with dask: larger_than_memory.py

Every block is cleaned as a recording of its own, with half a stretch of its neighbours on either
side, so that the hum that is fitted to it reaches over its ends. Blocks of ten minutes make that
overlap cheap. The fundamental is given, lest each block decide by itself.
"""

import dask.array as da
import numpy as np

import kalim

RATE = 1000
OVERLAP = 16 * RATE


def clean(x, block_seconds=600):
    """A lazy array like the lazy array `x` of shape (channels, samples), without its hum."""
    x = x.rechunk({0: -1, 1: block_seconds * RATE})
    return da.map_overlap(
        lambda block: kalim.remove(block, RATE, mains=50),
        x,
        depth={0: 0, 1: OVERLAP},
        boundary="none",
        dtype=x.dtype,
        meta=np.empty((0, 0), x.dtype),
    )


def main():
    rng = da.random.default_rng(1) if hasattr(da.random, "default_rng") else da.random
    length = 6 * 60 * RATE
    noise = rng.normal(0, 0.02, (4, length), chunks=(4, 60 * RATE)).astype(np.float32)
    clock = da.arange(length, chunks=60 * RATE) / RATE
    hum = (0.1 * da.sin(2 * np.pi * 50.01 * clock)).astype(np.float32)
    noise = noise.persist()  # random numbers are drawn once
    left = clean(noise + hum, block_seconds=120) - noise
    # One block at a time works on two cores by itself.
    error = da.sqrt((left**2).mean() / (hum**2).mean()).compute(scheduler="synchronous")
    print(f"what is left of the hum: {20 * np.log10(error):.1f} dB")


if __name__ == "__main__":
    main()
