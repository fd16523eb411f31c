pragma Singleton
import QtQuick

// The one palette and set of text styles of the HUD, the tray panel and the
// Settings form. The named colours come in a light and a dark variant; the
// panel and Settings follow the desktop's appearance (read from the
// application palette's window colour), the HUD sits on the light and always
// wears the dark one.
QtObject {
    id: theme

    readonly property SystemPalette desktop: SystemPalette { colorGroup: SystemPalette.Active }
    readonly property bool darkAppearance: desktop.window.hslLightness < 0.5

    // "primary" is the label colour itself; "secondary" and "tertiary" are
    // the same colour, fainter. The fills that say "primary at opacity x"
    // use primaryFill().
    readonly property QtObject lightColors: QtObject {
        readonly property color yellow: "#ffcc00"
        readonly property color green: "#28cd41"
        readonly property color orange: "#ff9500"
        readonly property color red: "#ff3b30"
        readonly property color blue: "#007aff"
        readonly property color purple: "#af52de"
        readonly property color pink: "#ff2d55"
        readonly property color indigo: "#5856d6"
        readonly property color label: "#000000"
        readonly property color primary: Qt.rgba(0, 0, 0, 0.85)
        readonly property color secondary: Qt.rgba(0, 0, 0, 0.5)
        readonly property color tertiary: Qt.rgba(0, 0, 0, 0.26)
        // The frosted backdrop's tint.
        readonly property color backdrop: "#ececec"
    }
    readonly property QtObject darkColors: QtObject {
        readonly property color yellow: "#ffd60a"
        readonly property color green: "#30d158"
        readonly property color orange: "#ff9f0a"
        readonly property color red: "#ff453a"
        readonly property color blue: "#0a84ff"
        readonly property color purple: "#bf5af2"
        readonly property color pink: "#ff375f"
        readonly property color indigo: "#5e5ce6"
        readonly property color label: "#ffffff"
        readonly property color primary: Qt.rgba(1, 1, 1, 0.85)
        readonly property color secondary: Qt.rgba(1, 1, 1, 0.55)
        readonly property color tertiary: Qt.rgba(1, 1, 1, 0.25)
        readonly property color backdrop: "#2b2b2d"
    }
    // The variant of the desktop's current appearance.
    readonly property QtObject colors: darkAppearance ? darkColors : lightColors

    // `color` at `opacity` times its own alpha.
    function faded(color, opacity) {
        return Qt.rgba(color.r, color.g, color.b, color.a * opacity)
    }

    // The label colour at `opacity`: the cards' and badges' faint fills.
    function primaryFill(opacity) {
        return faded(colors.label, opacity)
    }

    // The text styles, as pixel sizes of the system font.
    readonly property int captionSize: 11
    readonly property int caption2Size: 10
    readonly property int footnoteSize: 11
    // Where a style asks for the monospaced design.
    readonly property string monospaceFamily: "monospace"
    // The space a row leaves between its items unless it says otherwise.
    readonly property int defaultSpacing: 8
}
