// SVG pictures of DOT drawings, rendered by Graphviz's own library.

#ifndef LEXPAND_PARADIGM_SVGRENDERING_H
#define LEXPAND_PARADIGM_SVGRENDERING_H

#include <optional>
#include <string>

namespace lexpand {

// The SVG document of the drawing `dotText`, laid out by Graphviz's "dot"
// layout in this process (libgvc; no program is run). Absent when Graphviz
// cannot read, lay out or render it. Graphviz's own messages are silenced.
// Not safe to call from several threads at once: Graphviz keeps global state.
// Cost: that of the layout, which grows faster than linearly with the size
// of the drawing.
std::optional<std::string> renderSvg(const std::string& dotText);

} // namespace lexpand

#endif // LEXPAND_PARADIGM_SVGRENDERING_H
