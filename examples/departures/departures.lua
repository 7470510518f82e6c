-- Shows departures.json, eight rows at a time. The file is somebody else's: it may lack fields, be
-- empty, half written, or far too long. What cannot be used is left out, and the last good rows stay.

-- Another file, or data that the document declares: --morvelvars "source=data:flights".
local source = vars.source or "departures.json"
local rowsOnPage, rowHeight = 8, 60
local mostRows = 400 -- fifty pages; nobody waits for more
local secondsPerPage = 10

local rows, pattern = stage.find("rows"), stage.find("row")
local flights, page, good = {}, 1, nil

-- A field as text, whatever it is; empty when it is missing.
local function text(value)
  if type(value) == "number" then return tostring(math.tointeger(value) or value) end
  return type(value) == "string" and value:sub(1, 200) or ""
end

local colours = { boarding = "#5ee08a", delayed = "#ffb35c", cancelled = "#ff6b6b", closed = "#8296b8" }

-- What of the file can be shown, or nil and what is wrong with it.
local function usable(data)
  if type(data) ~= "table" then return nil, "is no list" end
  local list, skipped = {}, 0
  for _, flight in ipairs(data) do
    if #list >= mostRows then break end
    local time = type(flight) == "table" and text(flight.time) or ""
    local to = type(flight) == "table" and text(flight.to) or ""
    if time == "" or to == "" then
      skipped = skipped + 1
    else
      list[#list + 1] = { time = time, to = to, flight = text(flight.flight),
        gate = text(flight.gate), remark = text(flight.remark) }
    end
  end
  return list, skipped
end

local function showPage()
  local pages = math.max(1, math.ceil(#flights / rowsOnPage))
  if page > pages then page = 1 end
  for _, row in ipairs(rows:children()) do row:remove() end
  for i = 1, rowsOnPage do
    local flight = flights[(page - 1) * rowsOnPage + i]
    if not flight then break end
    local row = pattern:clone(rows, { y = (i - 1) * rowHeight, visible = true })
    row:find("stripe").visible = i % 2 == 1
    row:find("time").text = flight.time
    row:find("to").text = flight.to
    row:find("flight").text = flight.flight
    row:find("gate").text = flight.gate ~= "" and flight.gate or "–"
    row:find("remark"):set{ text = flight.remark,
      color = colours[flight.remark:lower():match("^%a+")] or "#ffffff" }
  end
  stage.find("empty").visible = #flights == 0
  stage.find("page").text = pages > 1 and page .. " / " .. pages or ""
end

local function notice(why)
  local since = good and "as of " .. good or "nothing was read yet"
  stage.find("notice").text = why and "The list may be out of date (" .. since .. ")" or ""
  if why then trace(source .. " " .. why) end
end

local function use(data, reason)
  if not data then return notice(reason) end
  local list, skipped = usable(data)
  if not list then return notice(skipped) end
  flights, good = list, clock.format("%H:%M")
  notice(nil)
  if skipped > 0 then trace(source .. ": " .. skipped .. " entries without time or destination") end
  showPage()
end

local function read() use(files.json(source)) end

local function tick()
  stage.find("clock").text = vars.at or clock.format("%H:%M:%S")
end

-- Whatever else goes wrong is told by the player; guests read that the list may be old.
on("error", function() notice("cannot be shown") end)

on("start", function()
  tick()
  showPage()
  timer.every(1, tick)
  timer.every(secondsPerPage, function() page = page + 1 showPage() end)
  read()
  files.watch(source, read)
end)
