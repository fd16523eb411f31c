import QtQuick

// Stands in for the panel: a known colour, a height that follows the
// application state, and a control that takes the keyboard focus.
Rectangle {
    required property QtObject appState
    property bool translucentBackdrop: false

    implicitHeight: appState.isRunning ? 300 : 240
    color: translucentBackdrop ? Qt.rgba(0.2, 0.6, 0.3, 0.5) : "#33994d"

    TextInput {
        objectName: "field"
        anchors.centerIn: parent
        width: 200
        focus: true
        text: "panel"
    }
}
