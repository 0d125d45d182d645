// The features of a scenario.
#pragma once

#include "fields.h"

namespace vynd {

// The field "features". The regions must be read before it.
field<fabric_state> features_field();

} // namespace vynd
