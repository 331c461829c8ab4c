// All tests, one after the other in one process: they share a browser's start, and two processors are enough for no more.
import "./modules.test.js";
import "./views.test.js";
import "./write.test.js";
import "./states.test.js";
import "./loss.test.js";
import "./tabs.test.js";
import "./access.test.js";
import "./doors.test.js";
