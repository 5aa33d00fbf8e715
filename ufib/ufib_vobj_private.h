/* ufib/ufib_vobj_private.h: what the files of virtual objects share among themselves. One thread. */
#pragma once

struct ufib_obj;
struct ufib_vobj;

/* Takes the cnhs off their adjacencies' lists, gives the references back and deletes adjacencies that nobody needs,
 * unless they wait as deferred deletes. The array stays. */
void ufib_vobj_cnhs_release(ufib_vobj *vobj);

/* Gives a reference on a path back, and deletes it as above. */
void ufib_vobj_path_release(ufib_obj *path);

void ufib_vobj_db_reset();
