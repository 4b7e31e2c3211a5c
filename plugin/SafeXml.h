#pragma once

#include <juce_core/juce_core.h>
#include <memory>

/// XML from files that anyone may have written.
namespace SafeXml
{

/// Reads a regular file of up to 1 MiB and returns its root element, or null for anything that is
/// not well-formed in the framework's eyes. Refused are also invalid UTF-8, document types and
/// entities of a file's own, and elements nested deeper than 64: the framework's parser would read
/// beyond its buffer, not return, or use up the stack.
std::unique_ptr<juce::XmlElement> parse(const juce::File& file);

} // namespace SafeXml
