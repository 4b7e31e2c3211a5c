#include "plugin/ParameterList.h"

#include <algorithm>
#include <utility>

void ParameterList::add(std::unique_ptr<ParameterDescription> description)
{
    descriptions.push_back(std::move(description));
}

ParameterDescription* ParameterList::find(int index) const
{
    return index >= 0 && index < size() ? descriptions[static_cast<std::size_t>(index)].get()
                                        : nullptr;
}

ParameterDescription* ParameterList::findByInternalId(int internalId) const
{
    return find(findIndexByInternalId(internalId));
}

int ParameterList::findIndexByInternalId(int internalId) const
{
    const auto hasId = [internalId](const auto& description)
    { return description->getInternalId() == internalId; };
    const auto found = std::ranges::find_if(descriptions, hasId);
    return found == descriptions.end() ? -1 : static_cast<int>(found - descriptions.begin());
}
