-- A clock and a ticker. Hands and digits move once a second; the ticker runs without a stop.
-- --morvelvars "at=10:09:36" stops the clock there, for a picture of it.

local speed = 110 -- of the ticker, units a second
local gap = 56
local dialCentre, dialRadius = 240, 240

local belt = stage.find("belt")
local hands = {
  hour = stage.find("hour-hand"),
  minute = stage.find("minute-hand"),
  second = stage.find("second-hand"),
}

local function drawMarks()
  local marks = stage.find("marks")
  for i = 0, 59 do
    local big = i % 5 == 0
    local width, height = big and 5 or 2, big and 26 or 11
    -- Turned around the middle of the dial: its distance is said in sizes of the mark itself.
    stage.create("rectangle", marks, {
      x = dialCentre - width / 2, y = 20, width = width, height = height, radius = width / 2,
      fill = big and "#1c2430" or "#b4bdc9",
      pivotX = 0.5, pivotY = (dialRadius - 20) / height, rotation = i * 6,
    })
  end
end

local function now()
  local hour, minute, second = (vars.at or ""):match("^(%d+):(%d+):(%d+)$")
  local t = clock.now()
  if hour then
    t.hour, t.minute, t.second, t.fraction = tonumber(hour), tonumber(minute), tonumber(second), 0
  end
  return t
end

local function showTime()
  local t = now()
  hands.hour.rotation = t.hour % 12 * 30 + t.minute * 0.5
  hands.minute.rotation = t.minute * 6 + t.second * 0.1
  -- A small swing, as of a clock in a railway station.
  local target = t.second * 6
  if math.abs(hands.second.rotation - target) > 7 and target ~= 0 then
    hands.second.rotation = target
  else
    if target == 0 then hands.second.rotation = -6 end
    hands.second:animate{ rotation = target, duration = 0.25, easing = "back" }
  end
  local digits = stage.find("time")
  digits.text = string.format("%02d:%02d", t.hour, t.minute)
  stage.find("seconds"):set{ x = digits.x + digits.textWidth + 16, text = string.format("%02d", t.second) }
  stage.find("weekday").text = clock.format("%A"):upper()
  stage.find("date").text = clock.format("%d %B %Y"):gsub("^0", "")
end

-- Runs at the beginning of each second of the wall clock.
local function tick()
  showTime()
  timer.after(1 - now().fraction, tick)
end

local function runBelt(from)
  belt.x = from
  local width = belt.width
  belt:animate{ x = -width, duration = (from + width) / speed, easing = "linear",
    done = function() runBelt(1084) end }
end

local function loadNews()
  local text, reason = files.read("news.txt")
  if not text then return trace(reason) end
  for _, child in ipairs(belt:children()) do child:remove() end
  local x = 0
  for line in text:gmatch("[^\r\n]+") do
    if x > 0 then
      stage.find("bullet"):clone(belt, { x = x })
      x = x + gap
    end
    local item = stage.find("item"):clone(belt, { x = x, y = 53, text = line })
    x = x + item.textWidth + gap
  end
  belt.width = math.max(1, x)
  belt:stop()
  runBelt(belt.x ~= 0 and belt.x or 56)
end

on("start", function()
  drawMarks()
  loadNews()
  files.watch("news.txt", loadNews)
  tick()
end)
