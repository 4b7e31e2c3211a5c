// Prints, for the script that completes the LV2 description, what there is to say of each
// parameter.

#include "dsp/hum/HumParameters.h"

#include <cstdio>

int main()
{
    using orvo::audio::HumParameter;
    for (const HumParameter& row : orvo::audio::humParameters)
        if (row.kind == HumParameter::Kind::toggle)
            std::printf("describe_parameter(dsp %s \"%s: 0 is off, 1 is on\")\n", row.name,
                        row.help);
        else
            std::printf("describe_parameter(dsp %s \"%s: 0 to 1 stands for %g to %g%s%s\")\n",
                        row.name, row.help, static_cast<double>(row.min),
                        static_cast<double>(row.max), *row.unit == '\0' ? "" : " ", row.unit);
}
