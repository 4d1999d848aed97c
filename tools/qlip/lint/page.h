// The parts of the page. The plotting library's are empty in a build without its package.
#pragma once

namespace qlip_tool {

extern const char* const kPlotStyle;
extern const char* const kPlotScript;
extern const char* const kPageStyle;
extern const char* const kPageScript;

}  // namespace qlip_tool
