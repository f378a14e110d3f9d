#pragma once

#include "glwidget.h"

#include <string>

// A line of text.
class GLLabel : public GLWidget
{
public:
    // The text the label shows.
    std::string Text;
};
