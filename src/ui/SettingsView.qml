import QtQuick
import QtQuick.Layouts
import QtQuick.Controls.Fusion

// The Settings form: start-up options, display routing, the lighting
// defaults and frame rate, the permission status and the shortcut list, in
// five sections. It keeps no state: every control is bound to one appState
// property or calls one appState operation, so each edit takes effect (and is
// saved) at once. 500 by 600; the form scrolls.
Pane {
    id: settings

    required property QtObject appState

    // Index of the first display with `id` in `displays`, or -1.
    function firstIndexOf(displays, id) {
        for (let i = 0; i < displays.length; ++i) {
            if (displays[i].id === id)
                return i
        }
        return -1
    }

    // "Studio — 2560×1440".
    function displayLabel(display) {
        return display.name + " — " + display.width + "×" + display.height
    }

    function percentText(value) {
        return Math.trunc(value * 100) + "%"
    }

    implicitWidth: 500
    implicitHeight: 600
    padding: 0

    // A section of the grouped form: a header of symbol and title over a
    // framed group of rows.
    component Section: GroupBox {
        id: section
        required property string symbol
        Layout.fillWidth: true
        topPadding: label.implicitHeight + 10
        label: Row {
            x: section.leftPadding
            spacing: 6
            Symbol {
                anchors.verticalCenter: parent.verticalCenter
                name: section.symbol
                tint: Theme.colors.secondary
                pointSize: 13
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: section.title
                color: Theme.colors.primary
                font.pixelSize: 13
                font.bold: true
            }
        }
    }

    // A switch with its title, and a help text under it.
    component OptionBlock: ColumnLayout {
        id: option
        required property string title
        required property string help
        property alias checked: toggle.checked
        default property alias extra: extras.data
        // The user flipped the switch to `on`.
        signal toggled(bool on)

        Layout.fillWidth: true
        Layout.topMargin: 2
        Layout.bottomMargin: 2
        spacing: 4

        Switch {
            id: toggle
            objectName: "toggle"
            padding: 0
            text: option.title
            onToggled: option.toggled(checked)
        }
        Text {
            objectName: "help"
            Layout.fillWidth: true
            leftPadding: toggle.indicator.width + toggle.spacing
            text: option.help
            color: Theme.colors.secondary
            font.pixelSize: Theme.caption2Size
            wrapMode: Text.Wrap
        }
        ColumnLayout {
            id: extras
            Layout.leftMargin: toggle.indicator.width + toggle.spacing
            spacing: 0
        }
    }

    // A display picker: every available display, in list order, by its id.
    component DisplayPicker: RowLayout {
        id: picker
        required property string title
        required property double selectedId
        signal picked(double id)

        Layout.fillWidth: true
        spacing: Theme.defaultSpacing

        Label {
            Layout.preferredWidth: 150
            text: picker.title
        }
        ComboBox {
            id: combo
            objectName: "combo"
            Layout.fillWidth: true
            model: settings.appState.availableDisplays
            textRole: "name"
            valueRole: "id"
            currentIndex: settings.firstIndexOf(settings.appState.availableDisplays, picker.selectedId)
            displayText: currentIndex >= 0 ? settings.displayLabel(model[currentIndex]) : ""
            onActivated: index => picker.picked(model[index].id)

            delegate: ItemDelegate {
                required property var modelData
                required property int index
                width: combo.width
                highlighted: combo.highlightedIndex === index
                contentItem: Row {
                    spacing: 6
                    Symbol {
                        anchors.verticalCenter: parent.verticalCenter
                        name: modelData.isBuiltin ? "macbook" : "display"
                        tint: Theme.colors.secondary
                        pointSize: 12
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        text: settings.displayLabel(modelData)
                        color: Theme.colors.primary
                        font: combo.font
                    }
                }
            }
            contentItem: Row {
                leftPadding: 6
                spacing: 6
                Symbol {
                    anchors.verticalCenter: parent.verticalCenter
                    visible: combo.currentIndex >= 0
                    name: combo.currentIndex >= 0 && combo.model[combo.currentIndex].isBuiltin ? "macbook" : "display"
                    tint: Theme.colors.secondary
                    pointSize: 12
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: combo.displayText
                    color: Theme.colors.primary
                    font: combo.font
                    elide: Text.ElideRight
                }
            }
        }
    }

    // A lighting default: symbol and title, the slider, the read-out.
    component LightingRow: RowLayout {
        id: lightingRow
        required property string title
        required property string symbol
        required property real value
        required property real from
        required property real to
        required property string readOut
        signal moved(real value)

        Layout.fillWidth: true
        spacing: Theme.defaultSpacing

        Row {
            Layout.preferredWidth: 170
            spacing: 6
            Symbol {
                anchors.verticalCenter: parent.verticalCenter
                name: lightingRow.symbol
                tint: Theme.colors.secondary
                pointSize: 12
            }
            Label {
                anchors.verticalCenter: parent.verticalCenter
                text: lightingRow.title
            }
        }
        Slider {
            objectName: "slider"
            Layout.fillWidth: true
            from: lightingRow.from
            to: lightingRow.to
            value: lightingRow.value
            stepSize: 0
            onMoved: lightingRow.moved(value)
        }
        Label {
            objectName: "readOut"
            Layout.preferredWidth: 48
            horizontalAlignment: Text.AlignRight
            // The system font's digits are all one width already.
            text: lightingRow.readOut
        }
    }

    ScrollView {
        id: scroller
        objectName: "scroller"
        anchors.fill: parent
        contentWidth: availableWidth
        ScrollBar.horizontal.policy: ScrollBar.AlwaysOff

        ColumnLayout {
            id: form
            width: scroller.availableWidth - 40
            x: 20
            spacing: 18

            Item { implicitHeight: 2 }

            // ---- 1: General & Startup ----
            Section {
                objectName: "generalSection"
                title: "General & Startup"
                symbol: "gearshape.2.fill"

                ColumnLayout {
                    anchors.fill: parent
                    spacing: 10

                    OptionBlock {
                        objectName: "launchAtLoginOption"
                        title: "Launch at Login"
                        help: PlatformWording.launchAtLoginHelp
                        checked: settings.appState.launchAtLogin
                        onToggled: on => settings.appState.launchAtLogin = on

                        Text {
                            objectName: "loginStatus"
                            text: "System Status: " + PlatformWording.loginStatusText(settings.appState.loginItemStatus)
                            color: Theme.colors.tertiary
                            font.family: Theme.monospaceFamily
                            font.pixelSize: 10
                        }
                    }
                    OptionBlock {
                        objectName: "autoStartOption"
                        title: "Start Lights Automatically on Launch"
                        help: "Immediately starts ambient illumination when Tarvelo launches."
                        checked: settings.appState.autoStartOnLaunch
                        onToggled: on => settings.appState.autoStartOnLaunch = on
                    }
                    OptionBlock {
                        objectName: "showHudOption"
                        title: "Show On-Screen Floating HUD"
                        help: "Displays a translucent frosted glass capsule on the ambient screen when the mouse moves."
                        checked: settings.appState.showFloatingHUD
                        onToggled: on => settings.appState.showFloatingHUD = on
                    }
                }
            }

            // ---- 2: Display Arrangement ----
            Section {
                objectName: "displaySection"
                title: "Display Arrangement"
                symbol: "display.2"

                ColumnLayout {
                    anchors.fill: parent
                    spacing: 10

                    OptionBlock {
                        objectName: "autoDetectOption"
                        title: "Auto-Detect Screen Arrangement"
                        help: PlatformWording.autoDetectHelp
                        checked: settings.appState.autoDetectArrangement
                        onToggled: on => settings.appState.autoDetectArrangement = on
                    }
                    DisplayPicker {
                        objectName: "sourcePicker"
                        visible: !settings.appState.autoDetectArrangement
                        title: "Movie Screen (Source)"
                        selectedId: settings.appState.sourceDisplayID
                        onPicked: id => settings.appState.sourceDisplayID = id
                    }
                    DisplayPicker {
                        objectName: "targetPicker"
                        visible: !settings.appState.autoDetectArrangement
                        title: "Light Screen (Target)"
                        selectedId: settings.appState.targetDisplayID
                        onPicked: id => settings.appState.targetDisplayID = id
                    }
                    RowLayout {
                        objectName: "arrangementRow"
                        Layout.fillWidth: true
                        spacing: Theme.defaultSpacing

                        Row {
                            Layout.fillWidth: true
                            spacing: 6
                            Symbol {
                                anchors.verticalCenter: parent.verticalCenter
                                name: "display.and.arrow.down"
                                tint: Theme.colors.secondary
                                pointSize: Theme.captionSize
                            }
                            Text {
                                objectName: "arrangementText"
                                anchors.verticalCenter: parent.verticalCenter
                                text: settings.appState.arrangementDescription
                                color: Theme.colors.secondary
                                font.pixelSize: Theme.captionSize
                            }
                        }
                        Button {
                            objectName: "detectButton"
                            text: "Detect Displays"
                            icon.source: "image://tarvelo-icons/arrow.clockwise/" + Qt.rgba(palette.buttonText.r, palette.buttonText.g, palette.buttonText.b, 1).toString().substring(1, 7)
                            icon.width: 13
                            icon.height: 13
                            font.pixelSize: 11
                            topPadding: 3
                            bottomPadding: 3
                            onClicked: settings.appState.refreshDisplays()
                        }
                    }
                }
            }

            // ---- 3: Lighting & Visual Defaults ----
            Section {
                objectName: "lightingSection"
                title: "Lighting & Visual Defaults"
                symbol: "sparkles"

                ColumnLayout {
                    anchors.fill: parent
                    spacing: 8

                    LightingRow {
                        objectName: "brightnessRow"
                        title: "Default Brightness"
                        symbol: "sun.max.fill"
                        value: settings.appState.brightness
                        from: 0.2
                        to: 3.0
                        readOut: settings.percentText(settings.appState.brightness)
                        onMoved: value => settings.appState.brightness = value
                    }
                    LightingRow {
                        objectName: "vibrancyRow"
                        title: "Color Vibrancy"
                        symbol: "paintpalette.fill"
                        value: settings.appState.vibrancy
                        from: 1.0
                        to: 2.5
                        readOut: settings.percentText(settings.appState.vibrancy)
                        onMoved: value => settings.appState.vibrancy = value
                    }
                    LightingRow {
                        objectName: "spreadRow"
                        title: "Room Flood (Spread)"
                        symbol: "rays"
                        value: settings.appState.spread
                        from: 0.3
                        to: 1.0
                        readOut: settings.percentText(settings.appState.spread)
                        onMoved: value => settings.appState.spread = value
                    }
                    LightingRow {
                        objectName: "blurRow"
                        title: "Gaussian Blur"
                        symbol: "circle.hexagongrid.fill"
                        value: settings.appState.blurRadius
                        from: 10
                        to: 150
                        readOut: Math.trunc(settings.appState.blurRadius) + " px"
                        onMoved: value => settings.appState.blurRadius = value
                    }
                    LightingRow {
                        objectName: "smoothingRow"
                        title: "Motion Smoothing"
                        symbol: "waveform.path"
                        value: settings.appState.smoothing
                        from: 0.05
                        to: 0.8
                        readOut: settings.percentText(settings.appState.smoothing)
                        onMoved: value => settings.appState.smoothing = value
                    }

                    // The segmented frame-rate picker: its three long choices
                    // need the whole width, so the title sits above them.
                    ColumnLayout {
                        objectName: "frameRatePicker"
                        Layout.fillWidth: true
                        Layout.topMargin: 4
                        spacing: 6

                        Label {
                            text: "Frame Rate"
                        }
                        ButtonGroup { id: frameRates }
                        RowLayout {
                            Layout.fillWidth: true
                            spacing: -1
                            Repeater {
                                model: [
                                    { fps: 15, text: "15 fps (battery saver)" },
                                    { fps: 30, text: "30 fps (recommended)" },
                                    { fps: 60, text: "60 fps (ultra fluid)" }
                                ]
                                delegate: Button {
                                    required property var modelData
                                    objectName: "frameRate" + modelData.fps
                                    Layout.fillWidth: true
                                    Layout.preferredWidth: 1
                                    ButtonGroup.group: frameRates
                                    checkable: true
                                    checked: settings.appState.captureRate === modelData.fps
                                    text: modelData.text
                                    font.pixelSize: 11
                                    topPadding: 4
                                    bottomPadding: 4
                                    // The rate follows the state, whatever the click did.
                                    onClicked: {
                                        settings.appState.captureRate = modelData.fps
                                        checked = Qt.binding(() => settings.appState.captureRate === modelData.fps)
                                    }
                                }
                            }
                        }
                    }

                    RowLayout {
                        Layout.fillWidth: true
                        Item { Layout.fillWidth: true }
                        Button {
                            objectName: "resetButton"
                            text: "Reset Lighting to Defaults"
                            font.pixelSize: 11
                            topPadding: 3
                            bottomPadding: 3
                            onClicked: settings.appState.resetToDefaults()
                        }
                    }
                }
            }

            // ---- 4: Permissions ----
            Section {
                objectName: "permissionSection"
                title: "Permissions"
                symbol: "lock.shield"

                RowLayout {
                    anchors.fill: parent
                    spacing: Theme.defaultSpacing

                    Row {
                        objectName: "permissionStatus"
                        Layout.fillWidth: true
                        spacing: 6
                        readonly property color tint: settings.appState.hasPermission ? Theme.colors.green
                                                                                      : Theme.colors.orange
                        Symbol {
                            anchors.verticalCenter: parent.verticalCenter
                            name: settings.appState.hasPermission ? "checkmark.circle.fill"
                                                                  : "exclamationmark.triangle.fill"
                            tint: parent.tint
                            pointSize: Theme.captionSize
                        }
                        Text {
                            objectName: "permissionText"
                            anchors.verticalCenter: parent.verticalCenter
                            text: settings.appState.hasPermission ? PlatformWording.permissionGranted
                                                                  : PlatformWording.permissionRequired
                            color: parent.tint
                            font.pixelSize: Theme.captionSize
                        }
                    }
                    Button {
                        objectName: "privacyButton"
                        text: "Open Privacy Settings…"
                        font.pixelSize: 11
                        topPadding: 3
                        bottomPadding: 3
                        onClicked: settings.appState.requestPermission()
                    }
                }
            }

            // ---- 5: Keyboard Shortcuts ----
            Section {
                objectName: "shortcutSection"
                title: "Keyboard Shortcuts"
                symbol: "command"

                ColumnLayout {
                    anchors.fill: parent
                    spacing: 8

                    ShortcutRow {
                        Layout.fillWidth: true
                        title: "Toggle Tarvelo On/Off"
                        shortcut: PlatformWording.toggleShortcut
                    }
                    ShortcutRow {
                        Layout.fillWidth: true
                        title: "Brightness Up / Down"
                        shortcut: PlatformWording.brightnessShortcut
                    }
                    ShortcutRow {
                        Layout.fillWidth: true
                        title: "Room Flood Up / Down"
                        shortcut: PlatformWording.spreadShortcut
                    }
                    ShortcutRow {
                        Layout.fillWidth: true
                        title: "Atmosphere Presets"
                        shortcut: PlatformWording.presetShortcut
                    }
                    ShortcutRow {
                        Layout.fillWidth: true
                        title: "Open Settings"
                        shortcut: PlatformWording.settingsShortcut
                    }
                }
            }

            Item { implicitHeight: 6 }
        }
    }
}
