#include "station/live_view_page.h"

namespace station {

namespace {

// Element ids are part of the interface: tests click "key-<code>", "power",
// read "done" (input requests answered) and "panel" (the screen at 1:1).
constexpr char kPage[] = R"PAGE(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>ftm-sim live view</title>
<style>
body { font: 13px sans-serif; margin: 12px; background: #eee; }
#panel { display: block; image-rendering: pixelated; cursor: crosshair; background: #000; }
#main { display: flex; gap: 16px; align-items: flex-start; }
fieldset { margin: 0 0 8px 0; border: 1px solid #aaa; }
button { margin: 2px; min-width: 44px; }
.led { display: inline-block; width: 14px; height: 14px; border-radius: 7px; background: #444; margin-right: 4px; }
.led.on { background: #3f3; }
#status { color: #b00; min-height: 1.2em; }
table td { padding: 1px 8px 1px 0; }
</style>
</head>
<body>
<div id="main">
<div>
<img id="panel" alt="the phone's panel">
<div>Click the panel to touch it. <span id="status"></span></div>
</div>
<div>
<fieldset><legend>Board</legend>
<table>
<tr><td>LEDs 0-6</td><td id="leds"></td></tr>
<tr><td>LCD backlight</td><td id="backlight">-</td></tr>
<tr><td>Vibrator</td><td id="vibrator">-</td></tr>
<tr><td>Flash LED</td><td id="flashled">-</td></tr>
<tr><td>Battery</td><td id="battery">-</td></tr>
<tr><td>Power key</td><td id="power-state">-</td></tr>
<tr><td>Inputs sent</td><td id="done">0</td></tr>
</table>
</fieldset>
<fieldset><legend>Power</legend><button id="power">Power (hold)</button></fieldset>
<div id="keys"></div>
</div>
</div>
<script>
"use strict";
const groups = [
  ["Call", [[100, "Send"], [229, "End"]]],
  ["Menu", [[103, "Up"], [108, "Down"], [28, "Enter"], [158, "Back"], [115, "Vol+"], [114, "Vol-"],
            [231, "Call"], [14, "Del"]]],
  ["Navigation", [[105, "Left"], [106, "Right"], [353, "Select"], [352, "OK"], [272, "Ball"],
                  [102, "Home"], [139, "Menu"], [217, "Search"], [212, "Camera"], [128, "Stop"],
                  [107, "End 107"], [116, "Power ev"], [183, "F13"]]],
  ["Digits", [[2, "1"], [3, "2"], [4, "3"], [5, "4"], [6, "5"], [7, "6"], [8, "7"], [9, "8"], [10, "9"],
              [11, "0"], [55, "*"]]],
  ["Letters", [[16, "Q"], [17, "W"], [18, "E"], [19, "R"], [20, "T"], [21, "Y"], [22, "U"], [23, "I"],
               [24, "O"], [25, "P"], [30, "A"], [31, "S"], [32, "D"], [33, "F"], [34, "G"], [35, "H"],
               [36, "J"], [37, "K"], [38, "L"], [44, "Z"], [45, "X"], [46, "C"], [47, "V"], [48, "B"],
               [49, "N"], [50, "M"]]],
  ["Other", [[57, "Space"], [51, ","], [52, "."], [59, "F1"], [60, "F2"], [42, "Shift"], [56, "Alt"],
             [97, "RCtrl"], [127, "127"], [191, "191"], [192, "192"], [193, "193"], [194, "194"],
             [228, "228"]]],
];
const $ = (id) => document.getElementById(id);
let done = 0;
let queue = Promise.resolve();

function status(text) { $("status").textContent = text; }

// One input at a time and in order, as a hand on the keypad.
function post(url) {
  queue = queue.then(async () => {
    try {
      const r = await fetch(url, {method: "POST"});
      const t = await r.text();
      status(r.ok ? "" : t.trim());
    } catch (e) {
      status("lost the phone: " + e);
    }
    done += 1;
    $("done").textContent = String(done);
  });
}

for (const [name, keys] of groups) {
  const set = document.createElement("fieldset");
  const legend = document.createElement("legend");
  legend.textContent = name;
  set.appendChild(legend);
  for (const [code, label] of keys) {
    const b = document.createElement("button");
    b.id = "key-" + code;
    b.title = "key " + code;
    b.textContent = label;
    b.addEventListener("click", () => post("/key?code=" + code));
    set.appendChild(b);
  }
  $("keys").appendChild(set);
}

// The button keeps the pointer while held, so the release reaches it even
// when the page has moved under the pointer since the press.
let powerHeld = false;
const letGoPower = () => { if (powerHeld) { powerHeld = false; post("/power?down=0"); } };
$("power").addEventListener("pointerdown", (e) => {
  $("power").setPointerCapture(e.pointerId);
  powerHeld = true;
  post("/power?down=1");
});
for (const ev of ["pointerup", "pointercancel", "lostpointercapture"])
  $("power").addEventListener(ev, letGoPower);

$("panel").addEventListener("click", (e) => {
  post("/touch?x=" + Math.floor(e.offsetX) + "&y=" + Math.floor(e.offsetY));
});

function showState(s) {
  const leds = $("leds");
  leds.textContent = "";
  for (let i = 0; i < 7; ++i) {
    const d = document.createElement("span");
    d.id = "led-" + i;
    d.className = s.leds && s.leds[i] ? "led on" : "led";
    leds.appendChild(d);
  }
  const or = (v, text) => v === null || v === undefined ? "-" : text;
  $("backlight").textContent = or(s.backlight, "level " + s.backlight);
  $("vibrator").textContent = or(s.vibrator, s.vibrator ? "running " + s.vibrator + " ms" : "off");
  $("flashled").textContent = or(s.flashled, s.flashled ? "on" : "off");
  const b = s.battery;
  $("battery").textContent = b.present ? or(b.voltage_mv, b.voltage_mv + " mV") + ", id " + or(b.id, b.id) : "absent";
  $("power-state").textContent = s.power_key ? "held" : "up";
}

async function refresh() {
  try {
    const r = await fetch("/screen.png");
    if (r.ok) {
      const url = URL.createObjectURL(await r.blob());
      const panel = $("panel");
      const old = panel.src;
      panel.onload = () => { if (old.startsWith("blob:")) URL.revokeObjectURL(old); };
      panel.src = url;
    }
    const s = await fetch("/state");
    if (s.ok)
      showState(await s.json());
  } catch (e) {
    status("lost the phone: " + e);
  }
  setTimeout(refresh, 200);
}
refresh();
</script>
</body>
</html>
)PAGE";

}  // namespace

std::string_view live_view_page() { return {kPage, sizeof kPage - 1}; }

}  // namespace station
