import QtQuick

// One of the project's symbols, asked for by its symbol name and painted in
// `tint` (whose alpha becomes the image's opacity). `pointSize` is the size of
// the text the symbol stands beside; the symbol is drawn a little taller.
Image {
    id: symbol

    required property string name
    property color tint: Theme.colors.primary
    property real pointSize: 12
    readonly property int side: Math.round(pointSize * 1.25)

    width: side
    height: side
    sourceSize: Qt.size(side, side)
    smooth: true
    opacity: tint.a
    source: name === "" ? "" : "image://tarvelo-icons/" + name + "/" + Qt.rgba(tint.r, tint.g, tint.b, 1).toString().substring(1, 7)
}
