import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// A chart of a report on a canvas. chartType 0 is the day's activities, one lane a card slot, coloured by
// activity; the others are series of points ({label, value, minimum, maximum}) made by the controller:
// 1 speed, 2 mileage per vehicle, 3 events by type, 4 faults by type, 5 midnight odometer, 6 places,
// 7 calibration values, 8 working time a day. visualizationType: 0 automatic (line for speed and odometer,
// bars otherwise), 1 bars, 2 line, 3 points, 4 area, 5 pie. Wider than the view when zoomed.
Item {
    id: chart
    property int chartType: 0
    property int visualizationType: 0
    property var points: []
    property var intervals: []
    property var lanes: []
    property int zoom: 1
    property bool english: false
    readonly property int maximumZoom: chartType === 1 ? 20 : 3
    readonly property int kind: visualizationType !== 0 ? visualizationType
                                : (chartType === 1 || chartType === 5 ? 2 : 1)

    readonly property var activityColours: ({
        "driving": "#1877c9", "work": "#2e9d54", "available": "#e0a020", "rest": "#8d99a6",
        "unknown": "#c3c9cf", "none": Theme.dark ? "#3a424c" : "#e6e9ec"
    })
    readonly property var activityNames: ({
        "driving": ["Вождение", "Driving"], "work": ["Работа", "Work"], "available": ["Готовность", "Availability"],
        "rest": ["Отдых", "Rest"], "unknown": ["Неизвестно", "Unknown"], "none": ["Карта не вставлена", "No card"]
    })
    readonly property var pieColours: ["#1877c9", "#2e9d54", "#e0a020", "#c0392b", "#8e44ad", "#16a085", "#d35400",
                                       "#7f8c8d", "#2c3e50", "#f1c40f"]

    function t(ru, en) { return english ? en : ru }
    function repaint() { canvas.requestPaint() }
    onPointsChanged: repaint()
    onIntervalsChanged: repaint()
    onVisualizationTypeChanged: repaint()
    onChartTypeChanged: repaint()
    onZoomChanged: repaint()
    Connections {
        target: Theme
        function onModeChanged() { chart.repaint() }
    }

    Flickable {
        id: flick
        anchors.fill: parent
        clip: true
        contentWidth: canvas.width
        contentHeight: height
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.horizontal: ScrollBar { policy: chart.zoom > 1 ? ScrollBar.AsNeeded : ScrollBar.AlwaysOff }

        Canvas {
            id: canvas
            objectName: "dddChartCanvas"
            width: Math.max(flick.width, 1) * Math.max(1, Math.min(chart.zoom, chart.maximumZoom))
            height: flick.height
            onWidthChanged: requestPaint()
            onHeightChanged: requestPaint()

            property int fontSize: Math.max(10, Theme.uiPixelSize - 3)

            function niceMaximum(points) {
                var top = 1
                for (var i = 0; i < points.length; ++i)
                    top = Math.max(top, points[i].maximum, points[i].value)
                var step = Math.pow(10, Math.floor(Math.log(top) / Math.LN10))
                return Math.ceil(top / step) * step
            }

            function drawActivities(ctx) {
                var left = Math.round(110 * Theme.uiScale), right = width - Math.round(30 * Theme.uiScale) // room for half of "24:00"
                var top = Math.round(16 * Theme.uiScale)
                var laneHeight = Math.round(46 * Theme.uiScale), gap = Math.round(14 * Theme.uiScale)
                var lanes = Math.max(1, chart.lanes.length)
                var span = right - left
                ctx.font = fontSize + "px sans-serif"
                ctx.textBaseline = "middle"
                for (var lane = 0; lane < lanes; ++lane) {
                    var y = top + lane * (laneHeight + gap)
                    ctx.fillStyle = Theme.surfaceAlt
                    ctx.fillRect(left, y, span, laneHeight)
                    ctx.fillStyle = Theme.text
                    ctx.textAlign = "right"
                    ctx.fillText(chart.lanes.length > lane ? chart.lanes[lane] : "", left - 8, y + laneHeight / 2)
                }
                for (var i = 0; i < chart.intervals.length; ++i) {
                    var part = chart.intervals[i]
                    var y0 = top + part.lane * (laneHeight + gap)
                    var x0 = left + span * part.start / 1440, x1 = left + span * part.end / 1440
                    ctx.fillStyle = chart.activityColours[part.kind] || chart.activityColours.unknown
                    var inset = part.kind === "driving" ? 0 : part.kind === "work" ? 6 : 12
                    ctx.fillRect(x0, y0 + inset, Math.max(1, x1 - x0), laneHeight - inset)
                }
                var axis = top + lanes * (laneHeight + gap)
                ctx.strokeStyle = Theme.border
                ctx.fillStyle = Theme.secondaryText
                ctx.textAlign = "center"
                ctx.textBaseline = "top"
                for (var hour = 0; hour <= 24; hour += 2) {
                    var x = left + span * hour / 24
                    ctx.beginPath()
                    ctx.moveTo(x, top)
                    ctx.lineTo(x, axis - gap + 4)
                    ctx.stroke()
                    ctx.fillText((hour < 10 ? "0" : "") + hour + ":00", x, axis - gap + 6)
                }
                // The legend.
                var legendY = axis + Math.round(16 * Theme.uiScale)
                var x2 = left
                ctx.textAlign = "left"
                ctx.textBaseline = "middle"
                var kinds = ["driving", "work", "available", "rest", "unknown", "none"]
                for (var k = 0; k < kinds.length; ++k) {
                    var name = chart.activityNames[kinds[k]][chart.english ? 1 : 0]
                    ctx.fillStyle = chart.activityColours[kinds[k]]
                    ctx.fillRect(x2, legendY - 7, 14, 14)
                    ctx.strokeStyle = Theme.border
                    ctx.strokeRect(x2, legendY - 7, 14, 14)
                    ctx.fillStyle = Theme.text
                    ctx.fillText(name, x2 + 20, legendY)
                    x2 += 30 + ctx.measureText(name).width
                }
            }

            function drawPie(ctx, points) {
                var total = 0
                for (var i = 0; i < points.length; ++i)
                    total += Math.max(0, points[i].value)
                if (total <= 0)
                    return
                var radius = Math.min(width * 0.3, height / 2 - 20)
                var cx = radius + 30, cy = height / 2
                var angle = -Math.PI / 2
                ctx.font = fontSize + "px sans-serif"
                ctx.textBaseline = "middle"
                ctx.textAlign = "left"
                for (var j = 0; j < points.length; ++j) {
                    var share = Math.max(0, points[j].value) / total
                    ctx.fillStyle = chart.pieColours[j % chart.pieColours.length]
                    ctx.beginPath()
                    ctx.moveTo(cx, cy)
                    ctx.arc(cx, cy, radius, angle, angle + share * 2 * Math.PI, false)
                    ctx.closePath()
                    ctx.fill()
                    angle += share * 2 * Math.PI
                    if (j < 14) {
                        var ly = 20 + j * (fontSize + 8)
                        ctx.fillRect(cx + radius + 40, ly - 6, 12, 12)
                        ctx.fillStyle = Theme.text
                        ctx.fillText(points[j].label + " — " + points[j].value, cx + radius + 58, ly)
                    }
                }
            }

            function drawSeries(ctx, points) {
                var left = Math.round(64 * Theme.uiScale), right = width - Math.round(16 * Theme.uiScale)
                var top = Math.round(14 * Theme.uiScale), bottom = height - Math.round(44 * Theme.uiScale)
                var scale = niceMaximum(points)
                ctx.font = fontSize + "px sans-serif"
                ctx.lineWidth = 1
                for (var g = 0; g <= 4; ++g) {
                    var gy = bottom - (bottom - top) * g / 4
                    ctx.strokeStyle = Theme.dark ? "#3d4650" : "#d8d8d8"
                    ctx.beginPath()
                    ctx.moveTo(left, gy)
                    ctx.lineTo(right, gy)
                    ctx.stroke()
                    ctx.fillStyle = Theme.secondaryText
                    ctx.textAlign = "right"
                    ctx.textBaseline = "middle"
                    var number = scale * g / 4
                    ctx.fillText(number >= 100 ? Math.round(number) : Math.round(number * 10) / 10, left - 6, gy)
                }
                var n = points.length
                var yOf = function(value) { return bottom - Math.max(0, Math.min(1, value / scale)) * (bottom - top) }
                var slot = (right - left) / n
                var xOf = function(i) { return chart.kind === 1 ? left + slot * (i + 0.5)
                                                                : left + (right - left) * (n > 1 ? i / (n - 1) : 0) }
                if (chart.kind === 1) {
                    ctx.fillStyle = "#3189c9"
                    var barWidth = Math.max(1, slot * 0.68)
                    for (var b = 0; b < n; ++b)
                        ctx.fillRect(xOf(b) - barWidth / 2, yOf(points[b].value), barWidth, bottom - yOf(points[b].value))
                } else {
                    if (chart.chartType === 1 && n > 1) {
                        ctx.strokeStyle = "#79add6"
                        for (var w = 0; w < n; ++w) {
                            ctx.beginPath()
                            ctx.moveTo(xOf(w), yOf(points[w].maximum))
                            ctx.lineTo(xOf(w), yOf(points[w].minimum))
                            ctx.stroke()
                        }
                    }
                    ctx.beginPath()
                    for (var p = 0; p < n; ++p) {
                        if (p === 0)
                            ctx.moveTo(xOf(p), yOf(points[p].value))
                        else
                            ctx.lineTo(xOf(p), yOf(points[p].value))
                    }
                    if (chart.kind === 4) {
                        ctx.lineTo(xOf(n - 1), bottom)
                        ctx.lineTo(xOf(0), bottom)
                        ctx.closePath()
                        ctx.fillStyle = Theme.dark ? "rgba(24, 119, 201, 0.3)" : "rgba(24, 119, 201, 0.4)"
                        ctx.fill()
                    } else if (chart.kind === 2) {
                        ctx.strokeStyle = "#1877c9"
                        ctx.lineWidth = 2
                        ctx.stroke()
                    }
                    if (chart.kind === 3) {
                        ctx.fillStyle = "#1877c9"
                        for (var d = 0; d < n; ++d) {
                            ctx.beginPath()
                            ctx.arc(xOf(d), yOf(points[d].value), 3, 0, 2 * Math.PI)
                            ctx.fill()
                        }
                    }
                }
                ctx.strokeStyle = Theme.border
                ctx.lineWidth = 1
                ctx.beginPath()
                ctx.moveTo(left, top)
                ctx.lineTo(left, bottom)
                ctx.lineTo(right, bottom)
                ctx.stroke()
                // Labels under the axis, as many as fit.
                ctx.fillStyle = Theme.secondaryText
                ctx.textAlign = "center"
                ctx.textBaseline = "top"
                var room = Math.round(90 * Theme.uiScale)
                var every = Math.max(1, Math.ceil(n / Math.max(1, Math.floor((right - left) / room))))
                for (var l = 0; l < n; l += every) {
                    var label = String(points[l].label)
                    if (label.length > 14)
                        label = label.substring(0, 13) + "…"
                    ctx.fillText(label, Math.max(left + 30, Math.min(right - 30, xOf(l))), bottom + 6)
                }
            }

            onPaint: {
                var ctx = getContext("2d")
                ctx.reset()
                ctx.fillStyle = Theme.surface
                ctx.fillRect(0, 0, width, height)
                if (chart.chartType === 0 && chart.intervals.length > 0) {
                    drawActivities(ctx)
                    return
                }
                var points = chart.chartType === 0 ? [] : chart.points
                if (!points || points.length === 0) {
                    ctx.fillStyle = Theme.secondaryText
                    ctx.font = (fontSize + 2) + "px sans-serif"
                    ctx.textAlign = "center"
                    ctx.textBaseline = "middle"
                    ctx.fillText(chart.t("Нет данных для графика", "No data for the chart"), width / 2, height / 2)
                    return
                }
                if (chart.kind === 5)
                    drawPie(ctx, points)
                else
                    drawSeries(ctx, points)
            }
        }
    }
}
