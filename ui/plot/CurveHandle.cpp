#include "ui/plot/CurveHandle.h"

namespace kalim::ui
{
namespace
{

/// The side of the smallest area that can be grabbed without aiming, in pixels.
constexpr float smallestGrabArea = 24.0F;

/// Stays free at the edges of the plot for the line around the outline.
constexpr float handleFrame = 1.0F;

/// How thick the bars of a tee are, as a share of its size.
constexpr float teeThickness = 0.2F;

/// The shape around the origin, one unit wide and high.
juce::Path unitShape(int shape)
{
    juce::Path path;
    if (shape == CurveHandle::ellipse)
        path.addEllipse(-0.5F, -0.5F, 1.0F, 1.0F);
    else if (shape == CurveHandle::square)
        path.addRectangle(-0.5F, -0.5F, 1.0F, 1.0F);
    else if (shape == CurveHandle::triangle)
        path.addTriangle(-0.5F, -0.25F, 0.0F, 0.25F, 0.5F, -0.25F);
    else if (shape == CurveHandle::tee)
    {
        path.addRectangle(-0.5F, -0.5F, 1.0F, teeThickness);
        path.addRectangle(-teeThickness / 2.0F, -0.5F, teeThickness, 1.0F);
    }
    return path;
}

juce::Point<float> centreOf(const CurveHandle& handle, juce::Rectangle<float> plot)
{
    return {plot.getX() + handle.x * plot.getWidth(),
            plot.getBottom() - handle.y * plot.getHeight()};
}

/// At the edge of the plot the triangle leans, so that neither its body nor its tip is lost.
juce::Path leaningTriangle(float tipX, juce::Rectangle<float> body)
{
    juce::Path path;
    path.addTriangle(body.getX(), body.getY(), tipX, body.getBottom(), body.getRight(),
                     body.getY());
    return path;
}

} // namespace

bool hasOutline(const CurveHandle& handle)
{
    return handle.shape >= CurveHandle::ellipse && handle.shape <= CurveHandle::tee;
}

juce::Path handleOutline(const CurveHandle& handle, juce::Rectangle<float> plot)
{
    const juce::Point<float> centre = centreOf(handle, plot);
    const float turn = juce::MathConstants<float>::halfPi * static_cast<float>(handle.rotation % 4);
    juce::Path path = unitShape(handle.shape);
    path.applyTransform(
        juce::AffineTransform::rotation(turn).scaled(handle.size).translated(centre));
    const juce::Rectangle<float> bounds = path.getBounds();
    const juce::Rectangle<float> inside = bounds.constrainedWithin(plot.reduced(handleFrame));
    if (handle.shape == CurveHandle::triangle && handle.rotation % 4 == 0)
        return leaningTriangle(centre.x, inside);
    path.applyTransform(
        juce::AffineTransform::translation(inside.getPosition() - bounds.getPosition()));
    return path;
}

juce::Rectangle<float> handleGrabArea(const CurveHandle& handle, juce::Rectangle<float> plot)
{
    const juce::Rectangle<float> bounds = handleOutline(handle, plot).getBounds();
    return bounds
        .withSizeKeepingCentre(juce::jmax(smallestGrabArea, bounds.getWidth()),
                               juce::jmax(smallestGrabArea, bounds.getHeight()))
        .constrainedWithin(plot);
}

} // namespace kalim::ui
