import QtQuick

// The frosted backdrop of the tray panel. Its tint does not depend on the
// window's focus, so it stays lit when the panel is not the active window.
// Where a compositor blends the window with what lies behind it, the tint is
// translucent; where none runs, translucency would show as black, so the
// host window sets `translucent` false and gets an opaque fill of the same
// tint.
Rectangle {
    id: backdrop

    enum Material { Popover = 6 }
    enum BlendingMode { BehindWindow = 0 }

    property int material: VisualEffectView.Popover
    property int blendingMode: VisualEffectView.BehindWindow
    property bool translucent: true

    // Without a blur behind it, what shows through must stay faint for the
    // panel's text to read well over any picture.
    readonly property real translucentAlpha: 0.92

    color: Qt.rgba(Theme.colors.backdrop.r, Theme.colors.backdrop.g, Theme.colors.backdrop.b,
                   translucent ? translucentAlpha : 1)
    border.width: 1
    border.color: Theme.primaryFill(0.12)
}
