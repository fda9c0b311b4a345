// The query-building operations shared by every backend.
#include "quorvane/exceptions.h"
#include "wmi/wmi.h"

namespace quorvane {

WmiObjects IWmiService::QueryAll(const std::wstring& className) {
  return ExecQuery(L"SELECT * FROM " + className);
}

WmiObjectPtr IWmiService::QueryFirst(const std::wstring& className) {
  auto all = QueryAll(className);
  if (all.empty()) {
    throw ObjectNotFoundException(kLibraryErrorCode,
                                  (L"Cannot found instance for: " + className).c_str());
  }
  return all.front();
}

WmiObjects IWmiObject::GetAssociators(const std::wstring& resultClass,
                                      const std::wstring& assocClass) {
  std::wstring query = L"ASSOCIATORS OF {" + GetRelPath() + L"}";
  if (!resultClass.empty() || !assocClass.empty()) {
    query += L" WHERE";
  }
  if (!resultClass.empty()) {
    query += L" ResultClass = " + resultClass;
  }
  if (!assocClass.empty()) {
    query += L" AssocClass = " + assocClass;
  }
  return GetService()->ExecQuery(query);
}

WmiObjects IWmiObject::GetAssociatorsOfClass(const std::wstring& resultClass) {
  return GetAssociators(resultClass, L"");
}

WmiObjects IWmiObject::GetAllAssociators() {
  return GetAssociators(L"", L"");
}

WmiObjects IWmiObject::GetReferences(const std::wstring& resultClass) {
  std::wstring query = L"REFERENCES OF {" + GetRelPath() + L"}";
  if (!resultClass.empty()) {
    query += L" WHERE ResultClass = " + resultClass;
  }
  return GetService()->ExecQuery(query);
}

WmiObjects IWmiObject::GetAllReferences() {
  return GetReferences(L"");
}

std::wstring IWmiObject::GetClass() {
  return GetProperty(L"__Class").AsWideString();
}

std::wstring IWmiObject::GetRelPath() {
  return GetProperty(L"__RelPath").AsWideString();
}

std::wstring IWmiObject::GetPath() {
  return GetProperty(L"__Path").AsWideString();
}

}  // namespace quorvane
