// The commands of kestrelctl, a routine each. They throw on failure.
#pragma once

#include "kestrelctl/cli.h"

namespace kestrelctl {

void IdentityCreate(const Arguments& arguments);
void IdentityImport(const Arguments& arguments);
void IdentityList(const Arguments& arguments);
void IdentityExport(const Arguments& arguments);
void IdentityPasswd(const Arguments& arguments);
void IdentityBind(const Arguments& arguments);
void IdentityDelete(const Arguments& arguments);

void RequestList(const Arguments& arguments);
void RequestShow(const Arguments& arguments);
void RequestDelete(const Arguments& arguments);
void RequestRenew(const Arguments& arguments);

void StoreList(const Arguments& arguments);
void StoreShow(const Arguments& arguments);
void StoreAdd(const Arguments& arguments);
void StoreRemove(const Arguments& arguments);
void StoreExport(const Arguments& arguments);
void Trust(const Arguments& arguments);

void PolicyShow(const Arguments& arguments);
void PolicySet(const Arguments& arguments);
void PolicyUnset(const Arguments& arguments);
void PolicyAdd(const Arguments& arguments);
void PolicyRemove(const Arguments& arguments);
void PolicyImport(const Arguments& arguments);
void PolicyExport(const Arguments& arguments);

void Chain(const Arguments& arguments);
void CacheList(const Arguments& arguments);
void CacheClear(const Arguments& arguments);
void CacheFetch(const Arguments& arguments);

void MessageShow(const Arguments& arguments);
void MessageVerify(const Arguments& arguments);
void Doctor(const Arguments& arguments);

void Providers(const Arguments& arguments);

}  // namespace kestrelctl
