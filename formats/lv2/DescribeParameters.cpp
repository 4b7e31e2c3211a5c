// Writes, for the script that completes the LV2 description, what there is to say of each
// parameter.

#include "dsp/hum/HumParameters.h"

#include <fstream>

int main(int argc, char** argv)
{
    using orvo::audio::HumParameter;
    if (argc != 2)
        return 2;
    std::ofstream script(argv[1]);
    for (const HumParameter& row : orvo::audio::humParameters)
    {
        script << "describe_parameter(dsp " << row.name << " \"" << row.help << ": ";
        if (row.kind == HumParameter::Kind::toggle)
            script << "0 is off, 1 is on";
        else
            script << "0 to 1 stands for " << row.min << " to " << row.max
                   << (*row.unit == '\0' ? "" : " ") << row.unit;
        script << "\")\n";
    }
    script.close();
    return script ? 0 : 1;
}
