#pragma once

/// What our own widgets are to assistive technology, which takes them for mere
/// containers otherwise.
namespace accessible_roles {

/// To be called before the first widget is shown; doing so again changes nothing.
void install();

} // namespace accessible_roles
