// The exports of the twelve dictionary tables. Each walks its table's segment in the SYSTEM datafile, decodes
// the rows into the first half of the buffer `rbuf` of `buf_sz` bytes and writes them to the table's
// dictionary file; the table's counter in g_ctx.sys then holds their number. Each returns 0, or -1 after its
// message. A failure leaves the file of an earlier run alone unless a batch was written before: then g_ctx.fd
// is still open on it.
#pragma once

#include "dict/bootstrap.h"

int export_user(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz);
int export_ts(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz);
int export_obj(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz);
int export_tab(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz);
int export_clu(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz);
int export_col(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz);
int export_lob_ind(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz);

int export_lob(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz);
int export_tabpart(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz);
int export_tabsubpart(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz);
int export_tabcompart(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz);
int export_props(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz);
