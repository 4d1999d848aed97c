"use strict";
const colours = ["#1565c0", "#c62828", "#2e7d32", "#6a1b9a", "#b26a00"];

function add(parent, tag, text, className) {
  const element = document.createElement(tag);
  if (text !== undefined) element.textContent = text;
  if (className) element.className = className;
  parent.append(element);
  return element;
}

// Names of commands stand in backquotes on a terminal.
function plain(text) {
  return text.replaceAll("`", "");
}

function counted(number, word) {
  return `${number.toLocaleString("en")} ${word}${number === 1 ? "" : "s"}`;
}

function place(finding) {
  const words = [];
  if (finding.track) words.push(`track ${finding.track}`);
  if (finding.part) words.push(finding.part);
  for (const key of ["sample", "packet", "offset"])
    if (finding[key] !== undefined) words.push(`${key === "offset" ? "byte" : key} ${finding[key].toLocaleString("en")}`);
  return words.length ? words.join(", ") + ": " : "";
}

function showFinding(parent, kind) {
  const box = add(parent, "div", undefined, `finding ${kind.severity}`);
  const head = add(box, "p");
  add(head, "strong", `${kind.severity}: ${kind.rule}. `);
  head.append(plain(kind.says));
  const list = add(box, "ul");
  for (const finding of kind.findings) add(list, "li", place(finding) + finding.what);
  if (kind.count > kind.findings.length) add(list, "li", `and ${(kind.count - kind.findings.length).toLocaleString("en")} more`);
  add(box, "p", plain(kind.remedy));
  add(box, "p", kind.published, "rule");
}

function showCost(parent, cost) {
  if (!cost.length) return;
  add(parent, "h3", "What it costs");
  const table = add(add(parent, "div", undefined, "cost"), "table");
  const columns = [["Track", row => `${row.track}, ${row.encoding}`], ["kbit/s", row => (row.bit_rate / 1000).toFixed(1)],
    ["fullest second", row => (row.peak_bit_rate / 1000).toFixed(1)], ["packets", row => row.packets],
    ["a frame, at most", row => row.most_packets_of_a_frame], ["longest frame", row => row.longest_frame],
    ["jitter ms", row => row.jitter_ms.toFixed(0)], ["reads/s", row => row.reads_per_second.toFixed(0)],
    ["bytes read/s", row => row.bytes_read_per_second.toFixed(0)], ["memory", row => row.open_memory]];
  const head = add(table, "tr");
  for (const [name] of columns) add(head, "th", name);
  for (const row of cost) {
    const line = add(table, "tr");
    for (const [, value] of columns) add(line, "td", value(row).toLocaleString("en"));
  }
}

// All plots of a page keep the width of their column, on a phone as well as on a laptop.
const drawn = [];
const height = 240;

function plot(parent, title, xLabel, yLabel, names, data, points) {
  if (!data[0].length) return;
  const box = add(parent, "div", undefined, "plot");
  const series = names.map((label, i) => ({label, stroke: colours[i % colours.length], width: 1.5, spanGaps: true,
    points: {show: points, size: 4}, paths: points ? () => null : undefined}));
  const chart = new uPlot({title, width: box.clientWidth - 12, height, scales: {x: {time: false}},
    series: [{label: xLabel}, ...series], axes: [{label: xLabel}, {label: yLabel, size: 70}]}, data, box);
  drawn.push([chart, box]);
}

// Several series of points over one axis, as the library wants them.
function joined(series) {
  return uPlot.join(series.map(points => [points.map(p => p[0]), points.map(p => p[1])]));
}

function showPlots(parent, plots) {
  const grid = add(parent, "div", undefined, "plots");
  const name = entry => `track ${entry.track}`;
  const draw = (entries, title, x, y, points) => {
    const filled = entries.filter(entry => entry.points.length);
    if (filled.length) plot(grid, title, x, y, filled.map(name), joined(filled.map(entry => entry.points)), points);
  };
  draw(plots.rates, "Bit rate", "seconds", "kbit/s", false);
  draw(plots.packets, "Packets", "seconds", "bytes", true);
  draw(plots.chunks, "Tracks over the file", "byte of the file", "seconds", false);
  draw(plots.coverage, "Sent by the hint track", "sample", "% of its bytes", false);
}

for (const report of JSON.parse(document.getElementById("reports").textContent)) {
  const section = add(document.body, "section");
  add(section, "h2", report.file);
  add(section, "p", `${counted(report.bytes, "byte")}: ${counted(report.errors, "error")}, ${counted(report.warnings, "warning")}, ${counted(report.notes, "note")}`);
  for (const kind of report.findings) showFinding(section, kind);
  showCost(section, report.cost);
  showPlots(section, report.plots);
}
addEventListener("resize", () => {
  for (const [chart, box] of drawn) chart.setSize({width: box.clientWidth - 12, height});
});
