// Exports renderSvg: DOT text to SVG through libgvc.

#include "SvgRendering.h"

#include <graphviz/cgraph.h>
#include <graphviz/gvc.h>

#include <memory>

namespace lexpand {
namespace {

struct ContextRelease {
    void operator()(GVC_t* context) const { gvFreeContext(context); }
};
struct GraphRelease {
    void operator()(Agraph_t* graph) const { agclose(graph); }
};
struct RenderDataRelease {
    void operator()(char* data) const { gvFreeRenderData(data); }
};

// A layout of `graph` in `context`, freed when the object goes.
class Layout {
public:
    Layout(GVC_t* context, Agraph_t* graph) : context_(context), graph_(graph) {
        done_ = gvLayout(context_, graph_, "dot") == 0;
    }
    Layout(const Layout&) = delete; // frees the layout once
    Layout& operator=(const Layout&) = delete;
    ~Layout() {
        if (done_) gvFreeLayout(context_, graph_);
    }
    bool done() const { return done_; }

private:
    GVC_t* context_;
    Agraph_t* graph_;
    bool done_ = false;
};

} // namespace

std::optional<std::string> renderSvg(const std::string& dotText) {
    agseterr(AGMAX); // Graphviz would print its warnings on standard error
    const std::unique_ptr<GVC_t, ContextRelease> context(gvContext());
    if (!context) return std::nullopt;
    const std::unique_ptr<Agraph_t, GraphRelease> graph(agmemread(dotText.c_str()));
    if (!graph) return std::nullopt;
    const Layout layout(context.get(), graph.get());
    if (!layout.done()) return std::nullopt;

    char* data = nullptr;
    unsigned int length = 0;
    const int status = gvRenderData(context.get(), graph.get(), "svg", &data, &length);
    const std::unique_ptr<char, RenderDataRelease> owned(data);
    if (status != 0 || data == nullptr) return std::nullopt;
    return std::string(data, length);
}

} // namespace lexpand
