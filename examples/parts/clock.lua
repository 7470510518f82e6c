-- Turns the hands once a second.

local face = part:find("face")
local hands = { hour = part:find("hour"), minute = part:find("minute"), second = part:find("second") }

local function now()
  local t = clock.now(parameters.zone ~= "" and parameters.zone or nil)
  local hour, minute, second = parameters.at:match("^(%d+):(%d+):(%d+)$")
  if hour then
    t.hour, t.minute, t.second, t.fraction = tonumber(hour), tonumber(minute), tonumber(second), 0
  end
  return t
end

-- At the beginning of each second of the wall clock.
local function tick()
  local t = now()
  hands.hour.rotation = t.hour % 12 * 30 + t.minute * 0.5
  hands.minute.rotation = t.minute * 6 + t.second * 0.1
  hands.second.rotation = t.second * 6
  timer.after(1 - t.fraction, tick)
end

face.scale = part.width / 240
for i = 0, 59 do
  local big = i % 5 == 0
  local width, height = big and 4 or 1.5, big and 14 or 7
  -- Turned around the middle of the face: its distance is said in sizes of the mark itself.
  part:find("mark"):clone(part:find("marks"), { x = 120 - width / 2, y = 8, width = width, height = height,
    radius = width / 2, opacity = big and 1 or 0.4, pivotY = 112 / height, rotation = i * 6, visible = true })
end
tick()
