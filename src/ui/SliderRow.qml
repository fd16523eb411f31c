import QtQuick
import QtQuick.Layouts
import QtQuick.Controls.Fusion

// A labelled slider: symbol, caption and read-out above, the slider below.
// It knows nothing of the application state. The caller binds `value` to its
// number and writes the number back in onMoved, and formats `valueText`
// itself: the row shows that text as given, even when it is stale.
ColumnLayout {
    id: row

    required property string icon
    required property color iconColor
    required property string label
    property real value: 0
    // The slider's range, from `from` to `to`; continuous, without steps.
    required property real from
    required property real to
    required property string valueText

    // The user moved the slider to `value`; sent on every change of a drag.
    signal moved(real value)

    spacing: 4

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.defaultSpacing

        Item {
            implicitWidth: 14
            implicitHeight: symbol.height
            Symbol {
                id: symbol
                objectName: "icon"
                anchors.centerIn: parent
                name: row.icon
                tint: row.iconColor
                pointSize: 11
            }
        }
        Text {
            objectName: "label"
            Layout.fillWidth: true
            text: row.label
            color: Theme.colors.primary
            font.pixelSize: 11
            font.weight: Font.Medium
            elide: Text.ElideRight
        }
        Text {
            objectName: "valueText"
            text: row.valueText
            color: Theme.colors.secondary
            font.family: Theme.monospaceFamily
            font.pixelSize: 11
            font.weight: Font.DemiBold
        }
    }

    Slider {
        id: slider
        objectName: "slider"
        Layout.fillWidth: true
        // The small control size.
        topPadding: 0
        bottomPadding: 0
        from: row.from
        to: row.to
        value: row.value
        stepSize: 0
        live: true
        onMoved: row.moved(value)
    }
}
