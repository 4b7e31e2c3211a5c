-- Opens the session again, tells by how much it compensates the track, and writes it as a file:
-- export.lua TARGET-FOLDER FOLDER
local target, folder = arg[1], arg[2]
session = assert (load_session (folder, "s"))
track = session:route_by_name ("track")
assert (not track:isnil () and not track:nth_plugin (0):isnil (), "the plug-in is not in the session")
print ("latency " .. track:nth_plugin (0):to_insert ():signal_latency ())

local wave_at_session_rate = "75969a1c-3133-4694-864b-a1fa50e43348"
export = session:simple_export ()
export:set_folder (target)
export:set_name ("result")
export:set_range (0, 96000)
assert (export:set_preset (wave_at_session_rate) and export:run_export (), "cannot be exported")

export, track, session = nil
collectgarbage ()
close_session ()
quit ()
