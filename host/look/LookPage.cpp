// One page for a phone and for a desk: the picture, now and next, the day, the last messages.
#include "host/look/LookPage.h"

namespace plexion_host {
namespace {

constexpr char kPage[] = R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Plexion</title>
<style nonce="NONCE">
:root { color-scheme: dark; font: 16px/1.4 system-ui, sans-serif; }
body { margin: 0 auto; max-width: 60rem; padding: .75rem; background: #101418; color: #e8ecef; }
h1 { font-size: 1.1rem; margin: 0 0 .5rem; } h2 { font-size: .9rem; color: #9aa4ad; margin: 1rem 0 .25rem; }
#picture { width: 100%; background: #000; border-radius: .4rem; display: block; min-height: 6rem; }
.row { display: flex; gap: .5rem; margin: .6rem 0; }
button { flex: 1; font: inherit; padding: .7rem; border: 0; border-radius: .4rem; background: #27466b;
  color: #fff; } button:active { background: #3a669a; }
.zone { background: #1a2026; border-radius: .4rem; padding: .5rem .7rem; margin: .4rem 0; }
.zone b { overflow-wrap: anywhere; } .soft { color: #9aa4ad; font-size: .85rem; }
#day { background: #fff; border-radius: .4rem; overflow-x: auto; } #day img { display: block; }
#messages { white-space: pre-wrap; overflow-wrap: anywhere; font: .75rem/1.35 monospace;
  background: #0a0d10; border-radius: .4rem; padding: .5rem; max-height: 16rem; overflow-y: auto; }
#fault { color: #ff9d8a; min-height: 1.4rem; } [hidden] { display: none; }
</style>
</head>
<body>
<h1 id="name">Plexion</h1>
<img id="picture" alt="The screen">
<div class="row"><button id="previous">Previous</button><button id="pause">Pause</button><button
 id="next">Next</button></div>
<div id="fault" role="status"></div>
<h2>Now and next</h2><div id="zones"></div>
<div id="plan" hidden><h2>Today</h2><div id="day"><img alt="The day"></div></div>
<h2>Messages</h2><div id="messages"></div>
<script nonce="NONCE">
"use strict";
const at = id => document.getElementById(id);
const line = (parent, kind, text) => {
  const element = parent.appendChild(document.createElement(kind));
  element.textContent = text;
  return element;
};
const file = path => path ? path.split("/").filter(x => x).pop() : "nothing";
const minutes = s => s < 90 ? s.toFixed(0) + " s" : s < 5400 ? (s / 60).toFixed(0) + " min" :
  (s / 3600).toFixed(1) + " h";
let paused = false, frames = -1, busy = false, day = 0, hour = 0;

function show(status) {
  at("name").textContent = (status.name || "Plexion") + " \u2013 " +
    new Date(status.time).toLocaleTimeString();
  const zones = at("zones");
  zones.textContent = "";
  for (const zone of status.zones || []) {
    const box = line(zones, "div", "");
    box.className = "zone";
    line(box, "span", zone.zone + ": ").className = "soft";
    line(box, "b", zone.content ? file(zone.content) : zone.reason || "nothing");
    const facts = [];
    if (zone.item) facts.push(zone.item + " of " + zone.items);
    if (zone.playlist) facts.push(zone.playlist);
    if (zone.shownSeconds) facts.push("for " + minutes(zone.shownSeconds));
    if (zone.paused) facts.push("paused");
    if (zone.muted) facts.push("muted"); else if (zone.volume < 100) facts.push("volume " + zone.volume);
    line(box, "div", facts.join(", ")).className = "soft";
    if (zone.next) {
      line(box, "div", "next: " + file(zone.next) +
        (zone.nextInSeconds === undefined ? "" : " in " + minutes(zone.nextInSeconds))).className = "soft";
    }
  }
  paused = (status.zones || []).some(zone => zone.paused);
  at("pause").textContent = paused ? "Play" : "Pause";
  at("fault").textContent = status.error || "";
  const messages = at("messages"), end = messages.scrollTop + messages.clientHeight >=
    messages.scrollHeight - 4;
  messages.textContent = (status.messages || []).join("\n");
  if (end) messages.scrollTop = messages.scrollHeight;
  if (status.framesPresented !== frames && !busy) {
    frames = status.framesPresented;
    busy = true;
    at("picture").src = "picture.jpg?" + frames;
  }
  if (status.kind === "programme" && Date.now() - day > 60000) {
    day = Date.now();
    hour = Number(status.time.slice(11, 13)) + Number(status.time.slice(14, 16)) / 60;
    at("plan").hidden = false;
    at("day").firstChild.src = "day.svg?" + day;
  }
}
// On a phone the day is wider than the page: now is in the middle. 48 pixels an hour, behind the names.
at("day").firstChild.addEventListener("load", () => {
  at("day").scrollLeft = 140 + 48 * hour - at("day").clientWidth / 2;
});
for (const event of ["load", "error"]) at("picture").addEventListener(event, () => { busy = false; });

async function look() {
  try {
    const answer = await fetch("status", {cache: "no-store"});
    if (!answer.ok) throw new Error("it answers " + answer.status);
    show(await answer.json());
  } catch (error) {
    at("fault").textContent = "No answer: " + error.message;
  }
  setTimeout(look, document.hidden ? 5000 : 1000);
}
async function act(action) {
  try {
    const answer = await fetch("do/" + action, {method: "POST", headers: {"X-Plexion": "1"}});
    at("fault").textContent = answer.ok ? "" : await answer.text();
  } catch (error) {
    at("fault").textContent = "No answer: " + error.message;
  }
}
at("next").addEventListener("click", () => act("next"));
at("previous").addEventListener("click", () => act("previous"));
at("pause").addEventListener("click", () => act(paused ? "play" : "pause"));
look();
</script>
</body>
</html>
)";

}  // namespace

std::string LookPage(const std::string& nonce) {
  const std::string mark = "NONCE";
  std::string page = kPage;
  for (size_t at = page.find(mark); at != std::string::npos; at = page.find(mark, at)) {
    page.replace(at, mark.size(), nonce);
    at += nonce.size();
  }
  return page;
}

}  // namespace plexion_host
