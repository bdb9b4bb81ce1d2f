// A cross-section drawing as SVG text: what Jupyter shows inline for a member or a section,
// and what a report embeds. Python-free and without a drawing library: the output is a handful
// of <path>, <circle> and <text> elements whose coordinates are computed here.
//
// The section is drawn as it is seen in the model's axes: y to the right, z upwards (SVG's own
// y axis points down, so z is flipped), one scale for both axes, the origin of the bar
// coordinates marked by two small arrows named y and z.
#pragma once

#include <string>
#include <vector>

#include "core/cross_section_geometry.hpp"

namespace marlox::svg {

// A point of the section to mark with a cross, such as where a finding lies.
struct Mark {
    geometry::Point at;
    bool error = true;  // red when an error, orange when a warning
    std::string text;   // shown as the cross's tooltip
};

struct Options {
    double width = 320;  // of the picture [px]; its height follows from the section's extent
    double margin = 28;  // around the section [px], room for the axis names and the title
    bool title = true;   // the drawing's title above the section
    bool axes = true;    // the arrows of y and z at the origin
    bool extent = true;  // the overall width and height, as "1.20 × 0.75 m", under the section
};

// A standalone SVG document (UTF-8, no XML declaration, so that it also embeds in HTML) of
// `drawing` and `marks`. A drawing with nothing in it gives a small picture with its title.
std::string section(const cross_section::Drawing &drawing, const std::vector<Mark> &marks = {},
                    const Options &options = {});

// `text` with the five characters XML reserves written as entities.
std::string escape(const std::string &text);

}  // namespace marlox::svg
