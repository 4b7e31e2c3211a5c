#pragma once

#include <string>
#include <variant>

namespace orvo
{

/// The value of a property.
using Variant = std::variant<std::monostate, bool, int, double, std::string>;

/// Root of everything that has properties which others may change.
class PropertyContainer
{
public:
    PropertyContainer() = default;
    virtual ~PropertyContainer() = default;

    PropertyContainer(const PropertyContainer&) = delete;
    PropertyContainer& operator=(const PropertyContainer&) = delete;

    /// Told of a changed property; does nothing unless overridden.
    virtual void onPropertyChanged(int /*propertyId*/, const Variant& /*value*/) {}
};

} // namespace orvo
