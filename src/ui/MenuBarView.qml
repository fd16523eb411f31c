import QtQuick
import QtQuick.Layouts
import QtQuick.Controls.Fusion

// The tray panel: whether the lights run and a switch for them, the
// permission and error notices, the display routing, the atmosphere presets,
// the four lighting sliders, and Settings and Quit. It keeps no state: every
// value comes from appState and every change goes through its setters and
// operations. 320 wide; its height follows the content.
Item {
    id: panel

    required property QtObject appState
    // Set by the window: false where no compositor blends the panel with
    // what lies behind it.
    property bool translucentBackdrop: true

    // The first display with `id`, by name; `fallback` when none has it.
    function displayName(displays, id, fallback) {
        for (let i = 0; i < displays.length; ++i) {
            if (displays[i].id === id)
                return displays[i].name
        }
        return fallback
    }

    // Truncated toward zero, not rounded.
    function percentText(value) {
        return Math.trunc(value * 100) + "%"
    }
    function pixelText(value) {
        return Math.trunc(value) + " px"
    }

    readonly property int panelWidth: 320
    readonly property int padding: 14

    width: panelWidth
    implicitWidth: panelWidth
    implicitHeight: content.implicitHeight + 2 * padding

    // A card: padded content on a faint rounded fill.
    component Card: Frame {
        id: card
        property color fill: Theme.primaryFill(0.04)
        property real cornerRadius: 10
        background: Rectangle {
            radius: card.cornerRadius
            color: card.fill
        }
    }

    // A symbol and caption on the left, a display name on the right.
    component RoutingRow: RowLayout {
        id: routingRow
        required property string caption
        required property string symbol
        required property color tint
        required property string displayName

        spacing: Theme.defaultSpacing

        Row {
            spacing: 6
            Symbol {
                anchors.verticalCenter: parent.verticalCenter
                name: routingRow.symbol
                tint: routingRow.tint
                pointSize: Theme.captionSize
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: routingRow.caption
                color: Theme.colors.secondary
                font.pixelSize: Theme.caption2Size
            }
        }
        Item { Layout.fillWidth: true }
        Text {
            objectName: "displayName"
            Layout.maximumWidth: 170
            text: routingRow.displayName
            color: Theme.colors.primary
            font.pixelSize: Theme.captionSize
            font.weight: Font.Medium
            elide: Text.ElideRight
            maximumLineCount: 1
        }
    }

    // A plain footer button: a symbol and a caption in the secondary style.
    component FooterButton: Button {
        id: footerButton
        required property string symbol
        flat: true
        leftPadding: 4
        rightPadding: 4
        topPadding: 2
        bottomPadding: 2
        contentItem: Row {
            spacing: 4
            Symbol {
                anchors.verticalCenter: parent.verticalCenter
                name: footerButton.symbol
                tint: Theme.colors.secondary
                pointSize: Theme.footnoteSize
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: footerButton.text
                color: Theme.colors.secondary
                font.pixelSize: Theme.footnoteSize
            }
        }
    }

    VisualEffectView {
        objectName: "backdrop"
        anchors.fill: parent
        material: VisualEffectView.Popover
        blendingMode: VisualEffectView.BehindWindow
        translucent: panel.translucentBackdrop
    }

    ColumnLayout {
        id: content
        x: panel.padding
        y: panel.padding
        width: panel.panelWidth - 2 * panel.padding
        spacing: 12

        // ---- Header: the badge, the name and state, the switch ----
        Card {
            objectName: "headerCard"
            Layout.fillWidth: true
            padding: 10
            cornerRadius: 12

            RowLayout {
                anchors.fill: parent
                spacing: 12

                Rectangle {
                    objectName: "badge"
                    implicitWidth: 36
                    implicitHeight: 36
                    radius: 18
                    color: panel.appState.isRunning ? Theme.faded(Theme.colors.yellow, 0.18) : Theme.primaryFill(0.06)
                    Symbol {
                        objectName: "badgeSymbol"
                        anchors.centerIn: parent
                        name: "lightbulb.max.fill"
                        tint: panel.appState.isRunning ? Theme.colors.yellow : Theme.colors.secondary
                        pointSize: 18
                    }
                }

                ColumnLayout {
                    spacing: 2
                    Text {
                        text: "Tarvelo"
                        color: Theme.colors.primary
                        font.pixelSize: 14
                        font.bold: true
                    }
                    Row {
                        spacing: 4
                        Rectangle {
                            objectName: "statusDot"
                            anchors.verticalCenter: parent.verticalCenter
                            width: 6
                            height: 6
                            radius: 3
                            color: panel.appState.isRunning ? Theme.colors.green
                                                            : Theme.faded(Theme.colors.secondary, 0.6)
                        }
                        Text {
                            objectName: "statusText"
                            anchors.verticalCenter: parent.verticalCenter
                            text: panel.appState.isRunning ? "Active Glow" : "Standby"
                            color: panel.appState.isRunning ? Theme.colors.green : Theme.colors.secondary
                            font.pixelSize: 11
                            font.weight: Font.Medium
                        }
                    }
                }

                Item { Layout.fillWidth: true }

                // Follows isRunning; a flip asks appState to start or stop in a
                // job of its own, and the switch moves when isRunning does.
                Switch {
                    id: runSwitch
                    objectName: "runSwitch"
                    padding: 0
                    checked: panel.appState.isRunning
                    onToggled: {
                        panel.appState.switchLights(checked)
                        checked = Qt.binding(() => panel.appState.isRunning)
                    }
                }
            }
        }

        // ---- Permission: only while capture is not allowed ----
        Card {
            objectName: "permissionCard"
            visible: !panel.appState.hasPermission
            Layout.fillWidth: true
            padding: 10
            cornerRadius: 10
            fill: Theme.faded(Theme.colors.orange, 0.1)

            ColumnLayout {
                anchors.fill: parent
                spacing: 6

                RowLayout {
                    spacing: Theme.defaultSpacing
                    Symbol {
                        name: "lock.shield.fill"
                        tint: Theme.colors.orange
                        pointSize: Theme.captionSize
                    }
                    Text {
                        text: "Permission Needed"
                        color: Theme.colors.orange
                        font.pixelSize: Theme.captionSize
                        font.bold: true
                    }
                }
                Text {
                    Layout.fillWidth: true
                    objectName: "permissionHint"
                    text: PlatformWording.permissionHint
                    color: Theme.colors.secondary
                    font.pixelSize: Theme.caption2Size
                    wrapMode: Text.Wrap
                }
                Button {
                    objectName: "grantPermissionButton"
                    text: "Grant Permission"
                    // Bordered and prominent: filled with the card's orange.
                    palette.button: Theme.colors.orange
                    palette.buttonText: "#ffffff"
                    font.pixelSize: 11
                    topPadding: 3
                    bottomPadding: 3
                    onClicked: panel.appState.requestPermission()
                }
            }
        }

        // ---- The last error ----
        Card {
            objectName: "errorCard"
            visible: panel.appState.errorMessage !== ""
            Layout.fillWidth: true
            padding: 8
            cornerRadius: 8
            fill: Theme.faded(Theme.colors.red, 0.1)

            RowLayout {
                anchors.fill: parent
                spacing: 8
                Symbol {
                    Layout.alignment: Qt.AlignVCenter
                    name: "exclamationmark.triangle.fill"
                    tint: Theme.colors.red
                    pointSize: 12
                }
                Text {
                    objectName: "errorText"
                    Layout.fillWidth: true
                    text: PlatformWording.errorText(panel.appState.errorMessage)
                    color: Theme.colors.red
                    font.pixelSize: Theme.caption2Size
                    wrapMode: Text.Wrap
                    maximumLineCount: 2
                    elide: Text.ElideRight
                }
            }
        }

        // ---- Which display is the movie and which the light ----
        Card {
            objectName: "routingCard"
            Layout.fillWidth: true
            padding: 10
            cornerRadius: 10

            ColumnLayout {
                anchors.fill: parent
                spacing: 6

                RoutingRow {
                    objectName: "sourceRow"
                    Layout.fillWidth: true
                    caption: "Top Movie Screen"
                    symbol: "display"
                    tint: Theme.colors.blue
                    displayName: panel.displayName(panel.appState.availableDisplays,
                                                   panel.appState.sourceDisplayID, "External Display")
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: Theme.defaultSpacing
                    Symbol {
                        Layout.leftMargin: 4
                        name: "arrow.down"
                        tint: Theme.colors.tertiary
                        pointSize: 10
                    }
                    Text {
                        objectName: "arrangementText"
                        Layout.fillWidth: true
                        text: panel.appState.arrangementDescription
                        color: Theme.colors.tertiary
                        font.pixelSize: 10
                        elide: Text.ElideRight
                        maximumLineCount: 1
                    }
                }
                RoutingRow {
                    objectName: "targetRow"
                    Layout.fillWidth: true
                    caption: "Bottom Light Screen"
                    symbol: "macbook"
                    tint: Theme.colors.purple
                    displayName: panel.displayName(panel.appState.availableDisplays,
                                                   panel.appState.targetDisplayID, "Built-in Display")
                }
            }
        }

        // ---- Atmosphere presets: each writes the five lighting values ----
        RowLayout {
            objectName: "presetsRow"
            Layout.fillWidth: true
            spacing: 8

            PresetButton {
                objectName: "cinemaButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Cinema"
                icon: "popcorn.fill"
                color: Theme.colors.orange
                onClicked: {
                    panel.appState.brightness = 1.4
                    panel.appState.vibrancy = 1.7
                    panel.appState.spread = 0.8
                    panel.appState.blurRadius = 55
                    panel.appState.smoothing = 0.3
                }
            }
            PresetButton {
                objectName: "floodButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Flood"
                icon: "rays"
                color: Theme.colors.yellow
                onClicked: {
                    panel.appState.brightness = 2.5
                    panel.appState.vibrancy = 2.1
                    panel.appState.spread = 1.0
                    panel.appState.blurRadius = 80
                    panel.appState.smoothing = 0.25
                }
            }
            PresetButton {
                objectName: "subtleButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                title: "Subtle"
                icon: "moon.fill"
                color: Theme.colors.indigo
                onClicked: {
                    panel.appState.brightness = 0.7
                    panel.appState.vibrancy = 1.2
                    panel.appState.spread = 0.5
                    panel.appState.blurRadius = 40
                    panel.appState.smoothing = 0.4
                }
            }
        }

        // ---- The four lighting sliders ----
        Card {
            objectName: "controlsCard"
            Layout.fillWidth: true
            padding: 12
            cornerRadius: 12

            ColumnLayout {
                anchors.fill: parent
                spacing: 11

                SliderRow {
                    objectName: "brightnessRow"
                    Layout.fillWidth: true
                    icon: "sun.max.fill"
                    iconColor: Theme.colors.orange
                    label: "Brightness"
                    value: panel.appState.brightness
                    from: 0.2
                    to: 3.0
                    valueText: panel.percentText(panel.appState.brightness)
                    onMoved: value => panel.appState.brightness = value
                }
                SliderRow {
                    objectName: "vibrancyRow"
                    Layout.fillWidth: true
                    icon: "paintpalette.fill"
                    iconColor: Theme.colors.pink
                    label: "Color Vibrancy"
                    value: panel.appState.vibrancy
                    from: 1.0
                    to: 2.5
                    valueText: panel.percentText(panel.appState.vibrancy)
                    onMoved: value => panel.appState.vibrancy = value
                }
                SliderRow {
                    objectName: "spreadRow"
                    Layout.fillWidth: true
                    icon: "rays"
                    iconColor: Theme.colors.blue
                    label: "Room Flood"
                    value: panel.appState.spread
                    from: 0.3
                    to: 1.0
                    valueText: panel.percentText(panel.appState.spread)
                    onMoved: value => panel.appState.spread = value
                }
                SliderRow {
                    objectName: "blurRow"
                    Layout.fillWidth: true
                    icon: "circle.hexagongrid.fill"
                    iconColor: Theme.colors.purple
                    label: "Gaussian Blur"
                    value: panel.appState.blurRadius
                    from: 10
                    to: 150
                    valueText: panel.pixelText(panel.appState.blurRadius)
                    onMoved: value => panel.appState.blurRadius = value
                }
            }
        }

        // ---- Footer: Settings, the toggle's key cap, Quit ----
        RowLayout {
            objectName: "footer"
            Layout.fillWidth: true
            Layout.leftMargin: 4
            Layout.rightMargin: 4
            Layout.topMargin: 2
            spacing: Theme.defaultSpacing

            FooterButton {
                objectName: "settingsButton"
                text: "Settings…"
                symbol: "gearshape"
                onClicked: panel.appState.openSettingsWindow()
            }
            Item { Layout.fillWidth: true }
            Label {
                objectName: "keyCap"
                text: PlatformWording.toggleKeyCap(panel.appState.shortcutsBoundByDesktop,
                                                   panel.appState.desktopToggleTrigger)
                ToolTip.text: PlatformWording.toggleKeyHelp(panel.appState.shortcutsBoundByDesktop)
                ToolTip.visible: keyCapHover.hovered && ToolTip.text !== ""
                HoverHandler { id: keyCapHover }
                color: Theme.colors.tertiary
                font.family: Theme.monospaceFamily
                font.pixelSize: 10
                font.weight: Font.DemiBold
                leftPadding: 6
                rightPadding: 6
                topPadding: 2
                bottomPadding: 2
                background: Rectangle {
                    radius: 4
                    color: Theme.primaryFill(0.06)
                }
            }
            Item { Layout.fillWidth: true }
            // The light window must come down before the process goes.
            FooterButton {
                objectName: "quitButton"
                text: "Quit"
                symbol: "power"
                onClicked: {
                    panel.appState.stop()
                    Qt.quit()
                }
            }
        }
    }
}
