import QtQuick
import QtQuick.Layouts
import QtQuick.Controls.Fusion

// One line of the shortcut reference: what it does, and the keys on a
// key-cap badge at the right edge.
RowLayout {
    id: row

    required property string title
    required property string shortcut

    spacing: Theme.defaultSpacing

    Text {
        objectName: "title"
        Layout.fillWidth: true
        text: row.title
        color: Theme.colors.secondary
        font.pixelSize: Theme.captionSize
        wrapMode: Text.Wrap
    }
    Label {
        objectName: "badge"
        Layout.alignment: Qt.AlignVCenter
        text: row.shortcut
        color: Theme.colors.primary
        font.family: Theme.monospaceFamily
        font.pixelSize: 11
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
}
