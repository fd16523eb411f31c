import QtQuick

// Stands in for the Settings form: a known colour and a focusable control.
Rectangle {
    required property QtObject appState

    color: appState.brightness > 0 ? "#3366cc" : "red"

    TextInput {
        anchors.centerIn: parent
        width: 200
        focus: true
        text: "settings"
    }
}
