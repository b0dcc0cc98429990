// The verdict as people read it, one line a verdict, or as one JSON object.
#ifndef HALDEN_TOOLS_VERIFY_REPORT_H
#define HALDEN_TOOLS_VERIFY_REPORT_H

#include <string>
#include <vector>

#include "tools/verify/verdict.h"

namespace verify_tool {

// subjects: the names of the certificates given, in order.
std::string human_report(const Verdict& verdict, const std::vector<std::string>& subjects);
std::string json_report(const Verdict& verdict);

}  // namespace verify_tool

#endif
