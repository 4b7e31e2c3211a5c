"""What is heard on the page, in its words."""
from __future__ import annotations

from dataclasses import dataclass

GUITAR = "guit_em9"
VERSIONS = ("before", "precise", "tracking", "original")


@dataclass(frozen=True)
class Example:
    """What is heard, in the words of the page; `mixture` is a name of the benchmark's."""

    name: str
    title: str
    mixture: str
    sound: str
    hum: str
    credit: str


CC_BY_4 = '<a href="https://creativecommons.org/licenses/by/4.0/">CC BY 4.0</a>'
EXAMPLES = (
    Example("speech", "Speech", "speech_man-steady+5", "A reader at a microphone",
            "50 Hz with 12 harmonics, steady, as from a ground loop",
            "<cite>The Age of Chivalry</cite>, chapter 18, read by Anders Lankford; LibriSpeech (SLR12), "
            + CC_BY_4),
    Example("music", "Music", "strings-odd+5", "A string orchestra: Brahms, Hungarian Dance 5",
            "50 Hz with the odd harmonics up to the 39th, as from a transformer that saturates",
            "US Army Strings (Musopen), public domain"),
    Example("guitar", "Guitar", GUITAR, "An electric guitar, where its chord has faded, made louder",
            "60 Hz from its own pick-up; nothing was mixed in",
            "freesound.org sound 46992, public domain (CC0)"),
    Example("field", "Field recording", "humpback-breathing+5", "A humpback whale, recorded under water",
            "50 Hz with 12 harmonics, whose level rises and falls by 6 dB",
            "Glacier Bay, 2020-11-13, US National Park Service, Chris Gabriele; public domain"),
    Example("tape", "Tape", "speech_woman-tape+5", "A reader, as if from an old tape",
            "50.7 Hz with 12 harmonics, wavering with the tape by 0.1 Hz",
            "<cite>Sense and Sensibility</cite>, chapter 18, read by Heather Barnett; LibriSpeech (SLR12), "
            + CC_BY_4),
)
