-- A gallery for a remote. --morvelvars "seconds=4" sets the pace of the show, "picture=3" begins
-- with the third picture, "show=on" starts the show by itself.

local columns, tileStepX, tileStepY = 3, 384, 282
local function whole(text, otherwise, lowest, highest)
  local number = math.floor(tonumber(text) or otherwise)
  return math.max(lowest, math.min(number, highest))
end
local seconds = whole(vars.seconds, 6, 1, 3600)

local pictures, current, selected = {}, 1, 1
local frames = { stage.find("frame-1"), stage.find("frame-2") }
local front = 1
local show = nil -- its timer
local dots, tiles = {}, {}

local function describe(index)
  local picture = pictures[index]
  stage.find("number").text = string.format("%02d / %02d", index, #pictures)
  stage.find("title").text = picture.title or ""
  stage.find("place").text = picture.place or ""
  for i, dot in ipairs(dots) do
    local here = i == index
    dot:animate{ opacity = here and 1 or 0.35, duration = 0.3 }
  end
end

-- The other frame comes in over the one that is shown, from the side that the remote points to.
local function turnTo(index, direction)
  index = (index - 1) % #pictures + 1
  if index == current then return end
  current = index
  local old, new = frames[front], frames[3 - front]
  front = 3 - front
  new.src = pictures[index].file
  new:set{ order = 1, opacity = 0, x = 90 * direction, scale = 1 }
  old:stop()
  old:set{ order = 0, opacity = 1, x = 0 }
  new:animate{ opacity = 1, x = 0, duration = 0.7, easing = "out" }
  local caption = stage.find("caption")
  caption:animate{ opacity = 0, x = 72 - 24 * direction, duration = 0.2, easing = "in",
    done = function()
      describe(current)
      caption.x = 72 + 24 * direction
      caption:animate{ opacity = 1, x = 72, duration = 0.45, easing = "out" }
    end }
end

local function setShow(on)
  if show then timer.cancel(show) end
  show = on and timer.every(seconds, function() turnTo(current + 1, 1) end) or nil
  stage.find("show-mark"):animate{ opacity = on and 1 or 0, duration = 0.3 }
end

local function placeCursor(animated)
  local column, row = (selected - 1) % columns, (selected - 1) // columns
  local place = { x = 72 + column * tileStepX, y = 132 + row * tileStepY }
  local cursor = stage.find("cursor")
  if animated then
    place.duration, place.easing = 0.22, "out"
    cursor:animate(place)
  else
    cursor:stop()
    cursor:set(place)
  end
  for i, tile in ipairs(tiles) do
    tile:find("tile-title").color = i == selected and "#ffffff" or "#8b9099"
  end
end

-- A list that somebody is still at leaves the pictures as they are.
local function checkList(list)
  if type(list) ~= "table" or type(list.pictures) ~= "table" or #list.pictures == 0 then
    return "pictures.json: no pictures"
  end
  for number, picture in ipairs(list.pictures) do
    if type(picture) ~= "table" or type(picture.file) ~= "string" then
      return "pictures.json: picture " .. number .. " has no file"
    end
    for _, field in ipairs{ "title", "place" } do
      if picture[field] and type(picture[field]) ~= "string" then
        return "pictures.json: picture " .. number .. ": the " .. field .. " is no text"
      end
    end
  end
end

local function build()
  local list, reason = files.json("pictures.json")
  reason = reason or checkList(list)
  if reason then return trace(reason) end
  pictures = list.pictures
  for _, old in ipairs(dots) do old:remove() end
  for _, old in ipairs(tiles) do old:remove() end
  dots, tiles = {}, {}
  local dotRow, grid = stage.find("dots"), stage.find("grid")
  for i, picture in ipairs(pictures) do
    dots[i] = stage.find("dot"):clone(dotRow, { x = (i - #pictures) * 18 - 8, opacity = 0.35 })
    local column, row = (i - 1) % columns, (i - 1) // columns
    tiles[i] = stage.find("tile"):clone(grid, { x = column * tileStepX, y = row * tileStepY })
    tiles[i]:find("tile-picture").src = picture.file
    tiles[i]:find("tile-title").text = picture.title or ""
  end
  current = whole(current, 1, 1, #pictures)
  selected = whole(selected, 1, 1, #pictures)
  frames[front].src = pictures[current].file
  describe(current)
end

local function openOverview()
  setShow(false)
  selected = current
  placeCursor(false)
  stage.show("overview", { transition = "fade", duration = 0.4 })
end

local function openSingle(index)
  frames[front]:stop()
  frames[front]:set{ x = 0, opacity = 1, src = pictures[index].file }
  frames[3 - front]:stop()
  frames[3 - front].opacity = 0
  current = index
  describe(index)
  stage.show("single", { transition = "slide", direction = "left", duration = 0.5 })
end

local inSingle = {
  left = function() turnTo(current - 1, -1) end,
  right = function() turnTo(current + 1, 1) end,
  ok = openOverview,
  back = openOverview,
  red = function() setShow(show == nil) end,
}

local function move(step)
  return function()
    local target = selected + step
    if target >= 1 and target <= #pictures then
      selected = target
      placeCursor(true)
    end
  end
end

local inOverview = {
  left = move(-1),
  right = move(1),
  up = move(-columns),
  down = move(columns),
  ok = function() openSingle(selected) end,
  back = function() openSingle(current) end,
  red = function()
    openSingle(selected)
    setShow(true)
  end,
}

on("start", function()
  current = whole(vars.picture, 1, 1, math.maxinteger)
  build()
  files.watch("pictures.json", build)
  if vars.show == "on" then setShow(true) end
end)

on("keydown", function(key)
  if #pictures == 0 then return end
  local action = (stage.scene() == "single" and inSingle or inOverview)[key]
  if action then action() end
end)

on("scroll", function(direction)
  if #pictures == 0 or stage.scene() ~= "single" then return end
  if direction == "down" then turnTo(current + 1, 1) else turnTo(current - 1, -1) end
end)

-- Nobody watches a window in the background.
on("deactivate", function() setShow(false) end)
