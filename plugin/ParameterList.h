#pragma once

#include "plugin/ParameterDescription.h"

#include <memory>
#include <vector>

/// The public parameters in the order in which hosts number them. Filled while the plug-in is built
/// and fixed from then on, so that any thread may look things up.
class ParameterList
{
public:
    void add(std::unique_ptr<ParameterDescription> description);

    int size() const { return static_cast<int>(descriptions.size()); }

    /// The parameter at a public index, null when there is none.
    ParameterDescription* find(int index) const;

    /// The first parameter with that id in the processor, or null.
    ParameterDescription* findByInternalId(int internalId) const;

    /// Its public index, or -1.
    int findIndexByInternalId(int internalId) const;

    auto begin() const { return descriptions.begin(); }

    auto end() const { return descriptions.end(); }

private:
    std::vector<std::unique_ptr<ParameterDescription>> descriptions;
};
