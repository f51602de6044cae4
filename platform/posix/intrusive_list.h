/// A list whose links are inside its elements, so that an insertion cannot fail for lack of memory.
#pragma once

namespace zrtmon::posix {

template <class Element, class Tag>
class CIntrusiveList;

/// Base of an element; the tag distinguishes the lists that one element may be in at the same time.
template <class Element, class Tag>
class CListNode {
public:
    CListNode() = default;
    CListNode(const CListNode&) = delete;
    CListNode& operator=(const CListNode&) = delete;

protected:
    ~CListNode() = default;

private:
    friend class CIntrusiveList<Element, Tag>;
    CIntrusiveList<Element, Tag>* m_list = nullptr;
    CListNode* m_previous = nullptr;
    CListNode* m_next = nullptr;
};

/// Elements in the order of their coming. Owns none of them; an element leaves before it is destroyed.
template <class Element, class Tag>
class CIntrusiveList {
    using Node = CListNode<Element, Tag>;

public:
    constexpr CIntrusiveList() = default;
    CIntrusiveList(const CIntrusiveList&) = delete;
    CIntrusiveList& operator=(const CIntrusiveList&) = delete;

    Element* First() const { return static_cast<Element*>(m_first); }
    static Element* Next(Element& element) { return static_cast<Element*>(AsNode(element).m_next); }

    void PushBack(Element& element)
    {
        Node& node = AsNode(element);
        node.m_list = this;
        node.m_previous = m_last;
        node.m_next = nullptr;
        (m_last ? m_last->m_next : m_first) = &node;
        m_last = &node;
    }

    /// Takes the element out of the list of this tag that it is in, if any.
    static void Unlink(Element& element)
    {
        Node& node = AsNode(element);
        if (!node.m_list) {
            return;
        }
        (node.m_previous ? node.m_previous->m_next : node.m_list->m_first) = node.m_next;
        (node.m_next ? node.m_next->m_previous : node.m_list->m_last) = node.m_previous;
        node.m_list = nullptr;
    }

private:
    static Node& AsNode(Element& element) { return element; }

    Node* m_first = nullptr;
    Node* m_last = nullptr;
};

} // namespace zrtmon::posix
