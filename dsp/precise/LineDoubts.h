#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// Leaves out of a model the lines that are likelier notes than hum, and out of those that stay the
/// moments that are: lines that stand out together with their multiples; lines that stand alone or
/// above all others; lines that are gone in pauses of the sound; lines that are not what they were
/// two seconds before, and in recordings of a few seconds all that do not stand still; and what is
/// far louder for a moment than it is else, unless most lines are.
///
/// `isDoubtful` where hum is hardly told from notes at all, for being short or beside the mains
/// frequencies; `isTrusted` where it is known that there is hum of this fundamental.
void leaveOutNotes(HumModel& model, bool isDoubtful, bool isTrusted);

} // namespace orvo::audio::precise
