import QtQuick
import QtQuick.Controls.Fusion

// One atmosphere button: a faint neutral tile that takes on its own colour
// while the pointer is over it. A click emits clicked() once; hovering alone
// does nothing. The hover flag is the only state it keeps.
Item {
    id: preset

    required property string title
    required property string icon
    required property color color
    property bool isHovered: false

    signal clicked()

    implicitWidth: button.implicitWidth
    implicitHeight: button.implicitHeight

    Button {
        id: button
        objectName: "button"
        anchors.fill: parent

        hoverEnabled: true
        onHoveredChanged: preset.isHovered = hovered
        onClicked: preset.clicked()

        leftPadding: 6
        rightPadding: 6
        topPadding: 6
        bottomPadding: 6

        contentItem: Item {
            implicitWidth: label.implicitWidth
            implicitHeight: label.implicitHeight
            Row {
                id: label
                anchors.centerIn: parent
                spacing: 5
                opacity: button.down ? 0.6 : 1

                Symbol {
                    objectName: "icon"
                    anchors.verticalCenter: parent.verticalCenter
                    name: preset.icon
                    tint: preset.color
                    pointSize: 11
                }
                Text {
                    objectName: "title"
                    anchors.verticalCenter: parent.verticalCenter
                    text: preset.title
                    color: Theme.colors.primary
                    font.pixelSize: 11
                    font.weight: Font.Medium
                }
            }
        }

        background: Rectangle {
            objectName: "tile"
            radius: 8
            color: preset.isHovered ? Theme.faded(preset.color, 0.12) : Theme.primaryFill(0.04)
            border.width: 1
            border.color: preset.isHovered ? Theme.faded(preset.color, 0.3) : "transparent"
        }
    }
}
