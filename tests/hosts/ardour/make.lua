-- A session with two seconds of silence on one track, and the plug-in on it with a preset:
-- make.lua FOLDER LV2|VST3 PRESET
local folder, format, preset = arg[1], arg[2], arg[3]
session = assert (create_session (folder, "s", 48000))
track = session:new_audio_track (2, 2, nil, 1, "track", ARDOUR.PresentationInfo.max_order,
	ARDOUR.TrackMode.Normal, true):front ():to_track ()
region = track:bounce_range (0, 96000, ARDOUR.InterThreadInfo (), track:main_outs (), false, "sound")
track:playlist ():add_region (region, Temporal.timepos_t (0), 1, false)

local names = {LV2 = "urn:orvotech:kalim", VST3 = "Kalim"}
plugin = ARDOUR.LuaAPI.new_plugin (session, names[format], ARDOUR.PluginType[format], "")
assert (not plugin:isnil (), "no such plug-in")
assert (track:add_processor_by_index (plugin, 0, nil, true) == 0)
insert = plugin:to_insert ():plugin (0)
assert (insert:load_preset (insert:preset_by_label (preset)), "no such preset")
session:save_state ("")

-- What still refers to the session must not outlive it.
insert, plugin, region, track, session = nil
collectgarbage ()
close_session ()
quit ()
