// Writes, for the script that completes the LV2 description, what there is to say of each
// parameter.

#include "dsp/hum/HumParameters.h"

#include <fstream>

namespace
{

using orvo::audio::HumParameter;

const char* getType(HumParameter::Kind kind)
{
    if (kind == HumParameter::Kind::toggle)
        return "Bool";
    return kind == HumParameter::Kind::whole ? "Int" : "Float";
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    std::ofstream script(argv[1]);
    for (const HumParameter& row : orvo::audio::humParameters)
    {
        script << "describe_parameter(dsp " << row.name << " \"" << row.help << "\" "
               << getType(row.kind) << " \"" << row.unit << "\")\n";
    }
    script.close();
    return script ? 0 : 1;
}
