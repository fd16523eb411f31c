import QtQuick
import QtQuick.Window

// The floating HUD: a capsule of controls over the light. It keeps no state
// of its own besides each preset pill's hover flag: every value shown comes
// from appState, and every change goes through appState's setters (so the
// values are saved) or its run control. The window around it owns the size,
// the placement, the fading and the auto-hide timer.
Item {
    id: hud

    // Observed: isRunning, brightness and spread; written: the five lighting
    // values and the run state.
    required property QtObject appState

    // The hide button. What hiding means (fading out until the pointer moves
    // on the light display again) belongs to the window.
    signal dismiss()

    implicitWidth: 520
    implicitHeight: 50

    // The HUD floats on the light, whatever the desktop's appearance: it
    // always wears the dark variant of the palette.
    readonly property color orange: Theme.darkColors.orange
    readonly property color yellow: Theme.darkColors.yellow
    readonly property color green: Theme.darkColors.green
    readonly property color blue: Theme.darkColors.blue
    readonly property color indigo: Theme.darkColors.indigo
    readonly property color white: Theme.darkColors.label
    readonly property color secondary: Theme.darkColors.secondary

    // The step buttons' limits. Brightness and spread step differently on purpose.
    readonly property real brightnessStep: 0.2
    readonly property real minimumBrightness: 0.2
    readonly property real maximumBrightness: 3.0
    readonly property real spreadStep: 0.15
    readonly property real minimumSpread: 0.3
    readonly property real maximumSpread: 1.0

    // Truncated, not rounded: a value a hair under 1.6 reads 159%.
    function percentText(value) {
        return Math.trunc(value * 100) + "%"
    }

    // A plain-style round button: a symbol in a circle of translucent white.
    component HUDRoundButton: Item {
        id: button

        required property string symbol
        required property color tint
        required property real symbolSize
        required property real side
        required property real fillOpacity
        property string toolTip: ""
        readonly property bool hovered: pointer.containsMouse

        signal clicked()

        width: side
        height: side

        Rectangle {
            anchors.fill: parent
            radius: width / 2
            color: Qt.rgba(1, 1, 1, button.fillOpacity)
        }
        Symbol {
            objectName: "symbol"
            anchors.centerIn: parent
            name: button.symbol
            tint: button.tint
            pointSize: button.symbolSize
            opacity: tint.a * (pointer.pressed ? 0.5 : 1)
        }
        MouseArea {
            id: pointer
            anchors.fill: parent
            hoverEnabled: true
            onClicked: button.clicked()
        }
    }

    // The minus and plus buttons of the brightness and spread groups.
    component HUDStepButton: HUDRoundButton {
        tint: hud.white
        symbolSize: 10
        side: 18
        fillOpacity: 0.1
    }

    component HUDDivider: Rectangle {
        width: 1
        height: 18
        color: Qt.rgba(1, 1, 1, 0.2)
    }

    component HUDValueText: Text {
        horizontalAlignment: Text.AlignHCenter
        color: hud.white
        font.pixelSize: 12
        font.weight: Font.DemiBold
    }

    // One look: clicking it writes its five values; it has no selected state.
    component HUDPresetPill: Item {
        id: pill

        required property string title
        required property string icon
        required property color color
        property bool isHovered: false

        signal action()

        implicitWidth: label.implicitWidth + 2 * 8
        implicitHeight: label.implicitHeight + 2 * 4

        Rectangle {
            objectName: "background"
            anchors.fill: parent
            radius: height / 2
            color: pill.isHovered ? Qt.rgba(pill.color.r, pill.color.g, pill.color.b, 0.2) : Qt.rgba(1, 1, 1, 0.08)
        }
        Row {
            id: label
            anchors.centerIn: parent
            spacing: 4
            opacity: pointer.pressed ? 0.5 : 1

            Symbol {
                anchors.verticalCenter: parent.verticalCenter
                name: pill.icon
                tint: pill.color
                pointSize: 10
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: pill.title
                color: hud.white
                font.pixelSize: 10
                font.weight: Font.Medium
            }
        }
        MouseArea {
            id: pointer
            anchors.fill: parent
            hoverEnabled: true
            onEntered: pill.isHovered = true
            onExited: pill.isHovered = false
            onClicked: pill.action()
        }
    }

    // The capsule at its natural size, shrunk as a whole when the window is
    // too narrow for it: the stated controls, at their stated sizes, need
    // more than the HUD window's 520 points with most fonts, and a capsule cut
    // off at both ends, or with its titles elided, would be worse than a
    // slightly smaller one.
    Item {
        id: capsuleFrame
        objectName: "capsuleFrame"

        readonly property real sideMargin: 4

        anchors.centerIn: parent
        width: capsule.width
        height: capsule.height
        scale: Math.min(1, (hud.width - 2 * sideMargin) / capsule.width, hud.height / capsule.height)

        // The drop shadow (black at 0.4, blur 12, 4 down), approximated by
        // concentric capsules that fade outward. Only a compositor shows it;
        // without one the window is cut to the capsule.
        Item {
            objectName: "shadow"
            y: 4
            width: capsule.width
            height: capsule.height

            Repeater {
                model: 6
                Rectangle {
                    readonly property real reach: (index + 1) * 2
                    x: -reach
                    y: -reach
                    width: parent.width + 2 * reach
                    height: parent.height + 2 * reach
                    radius: height / 2
                    color: Qt.rgba(0, 0, 0, 0.4 / 6)
                }
            }
        }

        // The translucent capsule. A dark fill stands in for the blurred
        // material, which X11 cannot promise without a compositor.
        Rectangle {
            id: capsule
            objectName: "capsule"

            width: content.implicitWidth + 2 * 14
            height: content.implicitHeight + 2 * 8
            radius: height / 2
            color: Qt.rgba(0.11, 0.11, 0.12, 0.8)
            border.color: Qt.rgba(1, 1, 1, 0.2)
            border.width: 1

            Row {
                id: content
                anchors.centerIn: parent
                spacing: 12

                HUDRoundButton {
                    id: runToggle
                    objectName: "runToggle"
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: hud.appState.isRunning ? "pause.fill" : "play.fill"
                    tint: hud.appState.isRunning ? hud.yellow : hud.green
                    symbolSize: 13
                    side: 28
                    fillOpacity: 0.12
                    toolTip: "Toggle Tarvelo"
                    onHoveredChanged: toolTipWindow.follow(runToggle)
                    // Reads isRunning in a job of its own: stop() if running,
                    // otherwise start().
                    onClicked: {
                        toolTipWindow.dismissFor(runToggle)
                        hud.appState.toggleLights()
                    }
                }

                HUDDivider { anchors.verticalCenter: parent.verticalCenter }

                Row {
                    objectName: "brightnessGroup"
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 6

                    Symbol {
                        objectName: "brightnessSymbol"
                        anchors.verticalCenter: parent.verticalCenter
                        name: "sun.max.fill"
                        tint: hud.orange
                        pointSize: 12
                    }
                    HUDStepButton {
                        objectName: "brightnessMinus"
                        anchors.verticalCenter: parent.verticalCenter
                        symbol: "minus"
                        onClicked: hud.appState.brightness = Math.max(hud.appState.brightness - hud.brightnessStep,
                                                                      hud.minimumBrightness)
                    }
                    HUDValueText {
                        objectName: "brightnessText"
                        anchors.verticalCenter: parent.verticalCenter
                        width: 44
                        text: hud.percentText(hud.appState.brightness)
                    }
                    HUDStepButton {
                        objectName: "brightnessPlus"
                        anchors.verticalCenter: parent.verticalCenter
                        symbol: "plus"
                        onClicked: hud.appState.brightness = Math.min(hud.appState.brightness + hud.brightnessStep,
                                                                      hud.maximumBrightness)
                    }
                }

                HUDDivider { anchors.verticalCenter: parent.verticalCenter }

                Row {
                    objectName: "spreadGroup"
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 6

                    Symbol {
                        objectName: "spreadSymbol"
                        anchors.verticalCenter: parent.verticalCenter
                        name: "rays"
                        tint: hud.blue
                        pointSize: 12
                    }
                    HUDStepButton {
                        objectName: "spreadMinus"
                        anchors.verticalCenter: parent.verticalCenter
                        symbol: "minus"
                        onClicked: hud.appState.spread = Math.max(hud.appState.spread - hud.spreadStep,
                                                                  hud.minimumSpread)
                    }
                    HUDValueText {
                        objectName: "spreadText"
                        anchors.verticalCenter: parent.verticalCenter
                        width: 38
                        text: hud.percentText(hud.appState.spread)
                    }
                    HUDStepButton {
                        objectName: "spreadPlus"
                        anchors.verticalCenter: parent.verticalCenter
                        symbol: "plus"
                        onClicked: hud.appState.spread = Math.min(hud.appState.spread + hud.spreadStep,
                                                                  hud.maximumSpread)
                    }
                }

                HUDDivider { anchors.verticalCenter: parent.verticalCenter }

                // Each pill writes brightness, vibrancy, spread, blur radius and
                // smoothing, in that order.
                Row {
                    objectName: "presetGroup"
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 5

                    HUDPresetPill {
                        objectName: "cinemaPill"
                        anchors.verticalCenter: parent.verticalCenter
                        title: "Cinema"
                        icon: "popcorn.fill"
                        color: hud.orange
                        onAction: {
                            hud.appState.brightness = 1.4
                            hud.appState.vibrancy = 1.7
                            hud.appState.spread = 0.8
                            hud.appState.blurRadius = 55
                            hud.appState.smoothing = 0.3
                        }
                    }
                    HUDPresetPill {
                        objectName: "floodPill"
                        anchors.verticalCenter: parent.verticalCenter
                        title: "Flood"
                        icon: "rays"
                        color: hud.yellow
                        onAction: {
                            hud.appState.brightness = 2.5
                            hud.appState.vibrancy = 2.1
                            hud.appState.spread = 1.0
                            hud.appState.blurRadius = 80
                            hud.appState.smoothing = 0.25
                        }
                    }
                    HUDPresetPill {
                        objectName: "subtlePill"
                        anchors.verticalCenter: parent.verticalCenter
                        title: "Subtle"
                        icon: "moon.fill"
                        color: hud.indigo
                        onAction: {
                            hud.appState.brightness = 0.7
                            hud.appState.vibrancy = 1.2
                            hud.appState.spread = 0.5
                            hud.appState.blurRadius = 40
                            hud.appState.smoothing = 0.4
                        }
                    }
                }

                HUDDivider { anchors.verticalCenter: parent.verticalCenter }

                HUDRoundButton {
                    id: hideButton
                    objectName: "hideButton"
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: "xmark"
                    tint: hud.secondary
                    symbolSize: 10
                    side: 20
                    fillOpacity: 0.08
                    toolTip: "Hide HUD (wakes on mouse move)"
                    onHoveredChanged: toolTipWindow.follow(hideButton)
                    onClicked: {
                        toolTipWindow.dismissFor(hideButton)
                        hud.dismiss()
                    }
                }
            }
        }
    }

    // Tooltips get a window of their own, above the capsule: the HUD's window
    // is only as tall as the capsule.
    Window {
        id: toolTipWindow
        objectName: "toolTip"

        property Item target: null
        readonly property string text: target ? target.toolTip : ""

        function follow(button) {
            if (button.hovered) {
                target = button
                showDelay.restart()
            } else {
                dismissFor(button)
            }
        }

        function dismissFor(button) {
            if (target !== button)
                return
            showDelay.stop()
            visible = false
            target = null
        }

        function showNow() {
            if (!target || hud.opacity < 1)
                return
            const anchor = target.mapToGlobal(target.width / 2, 0)
            const capsuleTop = capsule.mapToGlobal(0, 0).y
            x = Math.round(anchor.x - width / 2)
            y = Math.round(capsuleTop - height - 6)
            visible = true
        }

        flags: Qt.ToolTip | Qt.FramelessWindowHint | Qt.WindowDoesNotAcceptFocus | Qt.WindowTransparentForInput
        color: "#2c2c2e"
        width: toolTipLabel.implicitWidth + 2 * 7
        height: toolTipLabel.implicitHeight + 2 * 4
        visible: false

        Text {
            id: toolTipLabel
            anchors.centerIn: parent
            text: toolTipWindow.text
            color: hud.white
            font.pixelSize: 12
        }

        Timer {
            id: showDelay
            interval: 700
            onTriggered: toolTipWindow.showNow()
        }
    }

    // A fading HUD takes its tooltip with it.
    onOpacityChanged: {
        if (opacity < 1 && toolTipWindow.target)
            toolTipWindow.dismissFor(toolTipWindow.target)
    }
}
