-- Runs the lines of news.txt from right to left, without a stop.

local speed = 180 -- units a second
local gap = 90
local width = 1920

local belt = stage.find("belt")

local function run(from)
  belt.x = from
  local length = belt.width
  belt:animate{ x = -length, duration = (from + length) / speed, easing = "linear",
    done = function() run(width) end }
end

local function load()
  local text, reason = files.read("news.txt")
  if not text then return trace(reason) end
  for _, child in ipairs(belt:children()) do child:remove() end
  local x = 0
  for line in text:gmatch("[^\r\n]+") do
    if x > 0 then
      stage.find("bullet"):clone(belt, { x = x })
      x = x + gap
    end
    local item = stage.find("item"):clone(belt, { x = x, text = line })
    x = x + item.textWidth + gap
  end
  belt.width = x
end

load()
files.watch("news.txt", load)
run(width / 3)
