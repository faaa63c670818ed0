// The parameter reference of the client kit (docs/parameters.md), made from the
// value model so that it cannot drift from what the library and pexctl do.
#pragma once

#include <string>

#include "core/ParameterModel.h"

namespace kelix {

// A structure's fields as the reference writes them: "count; a[20]; b[20]".
std::string StructureText(const ParameterDescription& parameter);

// The whole reference as Markdown.
std::string ParameterReferenceMarkdown();

}  // namespace kelix
