#pragma once

/// \file
/// A list through a field of its elements.

template <class T>
class LListIterator;

/// A singly linked list through a field `T* next` of its elements, which it does not own. Not synchronised.
template <class T>
struct LList {
  T* head = nullptr;  ///< The first element; null when there is none.

  /// Puts an element that is in no list before all others.
  void Prepend(T* element) {
    element->next = head;
    head = element;
  }

  /// Takes the element at the iterator out of the list and moves the iterator to the next one.
  /// \return the element; null when the iterator is at the end, or when this list does not have the element
  T* Detach(LListIterator<T>& iterator) {
    T* const element = iterator.Get();
    if (element == nullptr || !Remove(element)) return nullptr;
    iterator.element_ = element->next;
    element->next = nullptr;
    return element;
  }

  /// Takes an element out, whose `next` stays as it is. \return false when this list does not have it
  bool Remove(const T* element) {
    T** link = &head;
    while (*link != nullptr && *link != element) link = &(*link)->next;
    if (*link == nullptr) return false;
    *link = element->next;
    return true;
  }

  /// Takes one element after the other off the front, and deletes it: for lists of what was made by new.
  void Clear() {
    while (T* const first = head) {
      head = first->next;
      delete first;
    }
  }
};

/// A place in an LList: at an element or at the end. Only Detach() may change the list meanwhile.
template <class T>
class LListIterator {
 public:
  /// Begins at the first element of a list, which outlives this.
  explicit LListIterator(LList<T>& list) : element_(list.head) {}

  /// The element here; null at the end.
  T* Get() const { return element_; }
  /// Goes to the next element, or to the end; stays at the end.
  void Next() {
    if (element_ != nullptr) element_ = element_->next;
  }

 private:
  friend struct LList<T>;
  T* element_;
};
