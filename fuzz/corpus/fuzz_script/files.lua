trace(files.read("data.csv"), files.read("../x"), files.read("link"), files.read("pipe"), files.exists("main.lua"))
for _, row in ipairs(files.csv("data.csv")) do trace(row.name, row.price) end
local data = files.json("data.json")
trace(#data.list, decode.json('{"a":[[],{}]}'), decode.csv("a;b\n1;2", ";"))
files.watch("data.json", function(name) trace(name) end)
trace(pcall(require, "main"), clock.format("%A %H:%M"), clock.now().hour, vars.name, args[1], locale)
trace(("key = value"):match("^(%w+)%s*=%s*(%w+)$"), ("%d"):format(7), (("a,b,c"):gsub(",", {[","] = ";"})))
for word in ("one two"):gmatch("%a+") do trace(word) end
local co = coroutine.wrap(function(a) local b = coroutine.yield(a) error({b}) end)
trace(co(1), pcall(co, 2))
trace(table.concat({1, 2, 3}, "-", 2), select("#", table.unpack({1, nil, 3}, 1, 3)), string.pack("<i4", 7), utf8.char(8364))
local t <close> = setmetatable({}, {__close = function() trace("closed") end})
goto done
::done::
complete()
