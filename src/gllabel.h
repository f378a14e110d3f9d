// GLLabel: a line of text.
#pragma once

#include "glwidget.h"

#include <string>

// A line of text.
class GLLabel : public GLWidget
{
public:
    // The text the label shows.
    std::string Text;
    // Visits this widget as a GLLabel.
    void Accept(GLWidgetVisitor& Visitor) override { Visitor.Visit(*this); }
    // Visits this widget as a GLLabel.
    void Accept(GLConstWidgetVisitor& Visitor) const override { Visitor.Visit(*this); }
};
