! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Text files of other systems: lines that end in CR LF, a last line without an end, empty lines, an empty file.
program textfiles
  implicit none
  character(2), parameter :: crlf = char(13)//char(10)
  character, parameter :: lf = char(10)
  call show('both ends', 'dos'//crlf//crlf//'unix'//lf//lf//'  12'//crlf//'34'//lf)
  call show('no final end', 'first'//lf//'last')
  call show('carriage returns', 'a'//char(13)//'b'//crlf//'c'//crlf)
  call show('one line', 'alone')
  call show('one end', lf)
  call show('nothing', '')
  call numbers('list', '1 2'//crlf//'3,'//crlf//',4'//crlf//'5 6')
contains
  subroutine make(content)
    character(*), intent(in) :: content
    integer :: u
    open (newunit=u, file='text', access='stream', form='unformatted', status='replace')
    write (u) content
    close (u)
  end subroutine
  subroutine show(name, content)
    character(*), intent(in) :: name, content
    character(12) :: line
    integer :: u, length, status
    call make(content)
    print '(a)', name
    open (newunit=u, file='text', status='old', action='read')
    do
      read (u, '(a)', advance='no', size=length, iostat=status) line
      if (status == 0 .or. is_iostat_end(status)) exit
      print '(i3,3a)', length, ' |', line(:length), '|'
    end do
    print '(a,i0)', 'ends with ', status
    close (u)
  end subroutine
  subroutine numbers(name, content)
    character(*), intent(in) :: name, content
    integer :: u, status, k(7)
    call make(content)
    open (newunit=u, file='text', status='old', action='read')
    k = -1
    read (u, *, iostat=status) k
    print '(a,7i3,l2)', name, k, is_iostat_end(status)
    close (u, status='delete')
  end subroutine
end program
