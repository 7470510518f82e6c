-- Fills the menu board from menu.json and special.csv, and does so again when one of them changes. The variable
-- "menu" names another file for another part of the day: --morvelvars "menu=lunch.json".
-- A file that is damaged or half written leaves the board as it was and says so in a corner.

local columnWidth, columnGap = 340, 48
local secondsPerSpecial = 8

local menuFile = vars.menu or "menu.json"

local patterns = { course = stage.find("course"), dish = stage.find("dish") }
local courses = stage.find("courses")
local currency = "€"

-- What is wrong with which file. Guests see that something is amiss, the trace says what.
local problems = {}

local function problem(file, reason)
  problems[file] = reason
  local wrong = problems[menuFile] and menuFile or problems["special.csv"] and "special.csv"
  stage.find("problem").visible = wrong ~= nil
  stage.find("updated").visible = wrong == nil
  if wrong then stage.find("problem").text = wrong .. " cannot be read: these are the last good prices" end
  if reason then trace(reason) end
end

local function money(amount)
  return string.format("%s %.2f", currency, amount)
end

-- Checks what people typed before anything on the board is touched.
local function checkDish(dish)
  if type(dish) ~= "table" or type(dish.name) ~= "string" then return "a dish without a name" end
  if type(dish.price) ~= "number" then return dish.name .. ": the price is no number" end
  if dish.note and type(dish.note) ~= "string" then return dish.name .. ": the note is no text" end
end

local function checkMenu(menu)
  if type(menu) ~= "table" or type(menu.courses) ~= "table" then return "no list of courses" end
  for _, field in ipairs{ "name", "tagline", "currency" } do
    if menu[field] and type(menu[field]) ~= "string" then return field .. " is no text" end
  end
  for number, course in ipairs(menu.courses) do
    if type(course) ~= "table" or type(course.dishes) ~= "table" then
      return "course " .. number .. " has no list of dishes"
    end
    if course.title and type(course.title) ~= "string" then return "course " .. number .. ": the title is no text" end
    for _, dish in ipairs(course.dishes) do
      local reason = checkDish(dish)
      if reason then return reason end
    end
  end
end

local function addDish(parent, dish, y)
  local line = patterns.dish:clone(parent, { y = y })
  local name, price, leader = line:find("dish-name"), line:find("price"), line:find("leader")
  name.text = dish.name
  price.text = string.format("%.2f", dish.price)
  line:find("note").text = dish.note or ""
  local from = name.textWidth + 12
  local to = columnWidth - price.textWidth - 12
  leader:set{ x = from, width = math.max(0, to - from) }
end

local function addCourse(course, x, y)
  local block = patterns.course:clone(courses, { x = x, y = y })
  block:find("title").text = course.title or ""
  for i, dish in ipairs(course.dishes) do
    addDish(block, dish, 48 + (i - 1) * 56)
  end
  return block
end

local function showMenu(animated)
  local menu, reason = files.json(menuFile)
  if not reason then
    reason = checkMenu(menu)
    reason = reason and menuFile .. ": " .. reason
  end
  problem(menuFile, reason)
  if reason then return end
  currency = menu.currency or currency
  stage.find("name").text = menu.name or ""
  stage.find("tagline").text = menu.tagline or ""
  for _, child in ipairs(courses:children()) do child:remove() end
  local half = math.ceil(#menu.courses / 2)
  for i, course in ipairs(menu.courses) do
    local column = i <= half and 0 or 1
    local row = column == 0 and i - 1 or i - half - 1
    local block = addCourse(course, column * (columnWidth + columnGap), row * 236)
    if animated then
      block.opacity = 0
      block:animate{ opacity = 1, duration = 0.6, delay = 0.08 * (i - 1), easing = "out" }
    end
  end
  stage.find("updated").text = "Prices in " .. currency .. ", service included   ·   "
    .. clock.format("%A, %d %B")
end

local specials, current = {}, 0

local function fillCard(dish)
  local name, note = stage.find("special-name"), stage.find("special-note")
  name.text = dish.name
  note:set{ text = dish.note or "", y = name.y + name.textHeight + 20 }
  stage.find("special-whole").text = money(tonumber(dish.price))
  stage.find("special-picture").src = files.exists(dish.picture or "") and dish.picture or ""
end

local function nextSpecial()
  if #specials == 0 then return end
  current = current % #specials + 1
  local card = stage.find("card")
  card:animate{ opacity = 0, y = -24, duration = 0.35, easing = "in", done = function()
    fillCard(specials[current])
    card.y = 24
    card:animate{ opacity = 1, y = 0, duration = 0.5, easing = "out" }
  end }
end

local function readSpecials()
  local list, reason = files.csv("special.csv")
  for _, dish in ipairs(list or {}) do
    if (dish.name or "") == "" then reason = "special.csv: a dish without a name" end
    if not tonumber(dish.price) then reason = "special.csv: " .. tostring(dish.name) .. ": the price is no number" end
  end
  problem("special.csv", reason)
  if reason then return end
  specials, current = list, #list > 0 and 1 or 0
  if specials[1] then fillCard(specials[1]) end
end

on("start", function()
  showMenu(true)
  readSpecials()
  timer.every(secondsPerSpecial, nextSpecial)
  files.watch(menuFile, function() showMenu(true) end)
  files.watch("special.csv", readSpecials)
end)

-- On a remote: right shows the next dish at once.
on("keydown", function(key)
  if key == "right" or key == "ok" then nextSpecial() end
end)
