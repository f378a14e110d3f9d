// Small conversions between the toolkit's types and ImGui's, shared by the view's files.
#pragma once

#include "glwidget.h"

#include <imgui.h>

// The corners of a toolkit rectangle as ImGui points.
inline ImVec2 TopLeft(const GLRect& Rect)
{
    return {Rect.X, Rect.Y};
}

inline ImVec2 BottomRight(const GLRect& Rect)
{
    return {Rect.X + Rect.Width, Rect.Y + Rect.Height};
}

// The modifier keys ImGui reports as held now.
inline GLModifiers CurrentModifiers()
{
    const ImGuiIO& io = ImGui::GetIO();
    GLModifiers mods;
    mods.bShift = io.KeyShift;
    mods.bCtrl = io.KeyCtrl;
    mods.bAlt = io.KeyAlt;
    return mods;
}
