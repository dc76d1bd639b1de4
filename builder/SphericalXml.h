#pragma once

#include <string>

#include "sensor/ViewHeading.h"

/// The spherical-video XML with the view's present values in its view lines; every other line, and
/// what the view leaves open, stays as it is. An empty text becomes the whole element.
std::string withView(const std::string& xml, const ViewHeading& view);
