/* gwadmin: the checks and editors of the settings forms. */
"use strict";
