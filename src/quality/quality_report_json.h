// Quality reports for other programs.
#pragma once

#include <string>

#include "quality/quality_report.h"

namespace vortena {

/// The report as JSON. Times are seconds, rates Hz, angles degrees, shares 0 to 1; what is not known is null.
std::string quality_report_json(const QualityReport& report);

}  // namespace vortena
