! Makes template_table.txt, the texts that a Fortran run-time gives for layouts of the template notation:
!   gfortran -ffree-line-length-none -fno-range-check template_table.f90 -o table && ./table > template_table.txt
! One entry:  "@T" and the template; "@I" and the items (iNUMBER, f and the 16 hexadecimal digits of a 64-bit real,
! a and the text, lT or lF, each behind a tab); then the lines written; then "@E".
module entries
  implicit none
  integer, parameter :: wide = selected_int_kind(18)
  character, parameter :: tab = achar(9)
contains
  function text_i(i) result(text)
    integer(wide), intent(in) :: i
    character(:), allocatable :: text
    character(24) :: digits
    write (digits, '(i0)') i
    text = tab//'i'//trim(digits)
  end function
  function text_f(x) result(text)
    real(8), intent(in) :: x
    character(18) :: text
    write (text, '(a1,a1,z16.16)') tab, 'f', x
  end function
  function text_l(l) result(text)
    logical, intent(in) :: l
    character(3) :: text
    text = tab//'l'//merge('T', 'F', l)
  end function
  subroutine head(template, items)
    character(*), intent(in) :: template, items
    write (*, '(a)') '@T'//template
    write (*, '(a)') '@I'//items
  end subroutine
  subroutine foot()
    write (*, '(a)') '@E'
  end subroutine

  subroutine reals(template, x)
    character(*), intent(in) :: template
    real(8), intent(in) :: x(:)
    character(:), allocatable :: items
    integer :: k
    items = ''
    do k = 1, size(x)
      items = items//text_f(x(k))
    end do
    call head(template, items)
    write (*, template) x
    call foot()
  end subroutine
  subroutine integers(template, n)
    character(*), intent(in) :: template
    integer(wide), intent(in) :: n(:)
    character(:), allocatable :: items
    integer :: k
    items = ''
    do k = 1, size(n)
      items = items//text_i(n(k))
    end do
    call head(template, items)
    write (*, template) n
    call foot()
  end subroutine
  subroutine texts(template, s)
    character(*), intent(in) :: template, s(:)
    character(:), allocatable :: items
    integer :: k
    items = ''
    do k = 1, size(s)
      items = items//tab//'a'//s(k)
    end do
    call head(template, items)
    if (size(s) == 1) then  ! an array of empty texts would be no item at all
      write (*, template) s(1)
    else
      write (*, template) s
    end if
    call foot()
  end subroutine
  subroutine logicals(template, l)
    character(*), intent(in) :: template
    logical, intent(in) :: l(:)
    character(:), allocatable :: items
    integer :: k
    items = ''
    do k = 1, size(l)
      items = items//text_l(l(k))
    end do
    call head(template, items)
    write (*, template) l
    call foot()
  end subroutine
  subroutine none(template)
    character(*), intent(in) :: template
    call head(template, '')
    write (*, template)
    call foot()
  end subroutine
  subroutine text_integer(template, s, n)
    character(*), intent(in) :: template, s
    integer(wide), intent(in) :: n
    call head(template, tab//'a'//s//text_i(n))
    write (*, template) s, n
    call foot()
  end subroutine
  subroutine text_real(template, s, x)
    character(*), intent(in) :: template, s
    real(8), intent(in) :: x
    call head(template, tab//'a'//s//text_f(x))
    write (*, template) s, x
    call foot()
  end subroutine
  subroutine text_reals(template, s, x)
    character(*), intent(in) :: template, s
    real(8), intent(in) :: x(:)
    character(:), allocatable :: items
    integer :: k
    items = tab//'a'//s
    do k = 1, size(x)
      items = items//text_f(x(k))
    end do
    call head(template, items)
    write (*, template) s, x
    call foot()
  end subroutine
  subroutine integer_reals(template, n, x)
    character(*), intent(in) :: template
    integer(wide), intent(in) :: n
    real(8), intent(in) :: x(:)
    character(:), allocatable :: items
    integer :: k
    items = text_i(n)
    do k = 1, size(x)
      items = items//text_f(x(k))
    end do
    call head(template, items)
    write (*, template) n, x
    call foot()
  end subroutine
  subroutine integer_texts(template, n, s)
    character(*), intent(in) :: template, s(:)
    integer(wide), intent(in) :: n
    character(:), allocatable :: items
    integer :: k
    items = text_i(n)
    do k = 1, size(s)
      items = items//tab//'a'//s(k)
    end do
    call head(template, items)
    write (*, template) n, s
    call foot()
  end subroutine
  subroutine pairs(template, s, n)
    character(*), intent(in) :: template, s(:)
    integer(wide), intent(in) :: n(:)
    character(:), allocatable :: items
    integer :: k
    items = ''
    do k = 1, size(s)
      items = items//tab//'a'//s(k)//text_i(n(k))
    end do
    call head(template, items)
    write (*, template) (s(k), n(k), k=1, size(s))
    call foot()
  end subroutine
  subroutine ratios(template, n, x)
    character(*), intent(in) :: template
    integer(wide), intent(in) :: n(:)
    real(8), intent(in) :: x(:)
    character(:), allocatable :: items
    integer :: k
    items = ''
    do k = 1, size(x)
      items = items//text_i(n(2*k - 1))//text_i(n(2*k))//text_f(x(k))
    end do
    call head(template, items)
    write (*, template) (n(2*k - 1), n(2*k), x(k), k=1, size(x))
    call foot()
  end subroutine
end module

program template_table
  use entries
  implicit none
  real(8) :: zero, not_a_number, infinity, largest, smallest
  real(8), allocatable :: x(:)
  integer(wide), allocatable :: n(:)
  character(12), parameter :: real_templates(*) = [character(12) :: &
    '(f10.1)', '(f10.5)', '(f10.4)', '(f14.3)', '(f5.3)', '(f4.0)', '(f6.4)', '(f4.2)', '(f8.2)', '(f8.6)', &
    '(f10.0)', '(f3.2)', '(f1.0)', '(f0.3)', '(f0.0)', '(f0.2)', '(f10.6)', '(f11.7)', '(F7.1)', '(f25.17)', &
    '(g14.7)', '(g14.8)', '(g15.7)', '(g15.8)', '(g14.6)', '(g12.5)', '(g9.2)', '(G14.7E2)', '(G14.7E3)', &
    '(g14.1e2)', '(g12.6e1)', '(g8.3)', '(g0.4)', '(g0.10)', '(g24.17)', &
    '(1pg12.5)', '(1pg14.7)', '(1pg0.4)', '(1pe12.4)', '(1pf10.2)', '(1pf0.2)', '(1pf8.0)', '(1p,e14.5e3)', &
    '(e12.5)', '(e11.5)', '(e10.5)', '(e14.6e3)', '(E9.1)', '(e12.4e1)']
  character(6), parameter :: integer_templates(*) = [character(6) :: '(i0)', '(i1)', '(i2)', '(i3)', '(i5)', &
    '(I10)', '(i5.3)', '(i2.2)', '(i4.4)', '(i0.3)', '(i3.0)', '(i0.0)', '(i20)']
  integer :: j, k

  zero = 0
  not_a_number = zero/zero
  infinity = 1/zero
  largest = huge(zero)
  smallest = 4.9406564584124654d-324
  x = [zero, -zero, 0.5d0, 1.5d0, 2.5d0, -0.5d0, 0.25d0, 0.125d0, 0.05d0, 0.045d0, 0.0005d0, -0.0004d0, -0.04d0, &
       0.95d0, 0.995d0, 9.5d0, 9.9999995d0, 9.99999949d0, 0.99999995d0, 0.9999999d0, 99.99995d0, 0.1d0, 0.09999999d0, &
       0.099999995d0, 0.0999999949d0, 0.01d0, 123.456d0, -123.456d0, 1d-3, 999.9996d0, 1024.5d0, 1d5, 99999.5d0, &
       999999.5d0, 9999999.5d0, 12345678d0, -12345678d0, 1d10, 1.2345d-5, 1d22, 1d23, 9.999999999d99, 1d100, 1d-99, &
       -1d-100, 1d-310, smallest, largest, -largest, 0.1d0 + 0.2d0, 2d0/3d0, -1d0/3d0, 3.14159265358979312d0, &
       1.4901161193847656d-08, -9999d0, not_a_number, infinity, -infinity]
  do j = 1, size(real_templates)
    do k = 1, size(x)
      call reals(trim(real_templates(j)), x(k:k))
    end do
  end do
  n = [0_wide, 1_wide, -1_wide, 9_wide, 10_wide, -10_wide, 99_wide, 123_wide, -123_wide, 999_wide, 1000_wide, &
       2147483647_wide, -2147483648_wide, huge(1_wide), -huge(1_wide) - 1]
  do j = 1, size(integer_templates)
    do k = 1, size(n)
      call integers(trim(integer_templates(j)), n(k:k))
    end do
  end do

  call texts('(a)', [''])
  call texts('(a)', ['abc'])
  call texts('(a1)', ['abc'])
  call texts('(a3)', ['abc'])
  call texts('(a5)', ['abc'])
  call texts('(a5)', [''])
  call texts('(A14)', ['abcdefghijklmnopqrst'])
  call texts('(1x,a)', ['abc  '])
  call texts('(5x,a)', [''])
  call texts('(5x,a,i3)', [''])
  call texts('(5x,a1)', [' '])
  call texts('(a,a)', ['a', 'b', 'c'])
  call texts('(/a)', ['a', 'b', 'c'])
  call texts('(a/)', ['a', 'b', 'c'])
  call texts('(38a)', spread(' -', 1, 38))
  call texts('(1x,110a)', spread('0', 1, 112))
  call texts('(/1x,9a)', ['ab', 'cd', 'ef'])
  call texts('(//10x,a)', ['E X E C U T I O N   S U C C E S S F U L'])
  call texts('(a,t10,a)', ['abc', 'def'])
  call texts('(a,t2,a)', ['abcdef', 'xyz   '])
  call texts('(a,t2,a,t1,a)', ['abcd', 'XY  ', '!   '])
  call texts('(a,t10)', ['abc'])
  call texts('(a,T20,a,t5,a)', ['a', 'b', 'c'])
  call texts('(a,5x,/)', ['abc'])
  call texts('(a,5x,/,5x,a)', ['abc', 'abc'])
  call texts('(a,2/,a)', ['abc', 'abc'])
  call texts('(a,'' '')', ['abc'])
  call texts('(/1x,a,a,'' '')', ['  * *  WARNING  * *   ', 'Lines per page        '])
  call texts('(1x/1x,a,a)', ['ab', 'cd'])
  call texts('(4x,a/4x,a)', ['ab', 'cd'])
  call texts('(4x,a/4x,a)', ['ab'])
  call texts('(/1x,a,18x,a,a)', ['ab', 'cd', 'ef'])
  call texts('(10x,a,t35,a,a,a)', ['ab', 'cd', 'ef', 'gh'])
  call texts('((3x,5a))', ['ab', 'cd', 'ef', 'gh', 'ij', 'kl'])
  call texts('(1x,3a,*(/2x,a))', ['compiled by', 'some tool  ', ' options   ', '-O2        ', '-g         '])
  call texts('(1x,a,*(/2x,a))', ['ab'])
  call texts('(1x,2(/2x,a))', ['ab'])
  call texts('(3(2x,''-'',2(''<'',a,''>'')))', ['ab', 'cd', 'ef', 'gh'])
  call texts('(A,//A)', ['ab', 'cd'])
  call texts('( 1x , a , a )', ['ab', 'cd'])
  call none('(5x)')
  call none('('' '')')
  call none('(1x,''it''''s "so"'')')
  call none('(1x,"say ""so"" it''s")')
  call none('(1x,25(''-''),3(2x,14(''-'')))')
  call none('(1x,25(''-''),2x,9(''-''),3(2x,15(''-'')),2x,21(''-''))')
  call none('(/28x,3(''% HPD Credibility Intervals   ''))')
  call none('(1x,''Grp.      N*-hat        Standard Error'',6x,''Lower'',11x,''Upper'')')
  call none('(/)')
  call none('(///)')
  call none('(''  ENTERING MINIMIZATION''/)')
  call none('(1x,''a'',3x)')
  call none('(1x,a,''not reached'')')
  call none('(1x,''reached'',2(''!'',i3))')
  call logicals('(l)', [.true.])
  call logicals('(l)', [.false., .true.])
  call logicals('(l1,l3,L5)', [.true., .false., .true.])
  call logicals('(5x,2l2)', [.true., .false.])

  call integers('(/1x,3(i0))', [1_wide, 22_wide, 333_wide])
  call integers('(24i5)', [(int(k*k, wide), k=1, 30)])
  call integers('(1x,11i7)', [(int(k*1000, wide), k=1, 23)])
  call integers('(4x,''COLS:'',64i3)', [(int(k, wide), k=1, 20)])
  call integers('(1x,''ROW '',i3,'':'',64i3)', [(int(k, wide), k=95, 105)])
  call integers('(6x,*(i10))', [(int(k, wide), k=1, 12)])
  call integers('(6x,*(i4,'','',i0))', [(int(k, wide), k=1, 3)])
  call integers('(T9,5i5)', [(int(k, wide), k=1, 5)])
  call integers('(i2.2,'':'',i2.2,'':'',i2.2)', [7_wide, 5_wide, 59_wide])
  call integers('(/1X,''Number of function evaluations was '',i0,'' for '',i0,'' parameters.'')', [812_wide, 14_wide])
  call integers('(1x,i5,6x,i5,7x,i1,2x,i1)', [1_wide, 2_wide, 3_wide, 4_wide])
  call integers('(i5,t3,i5)', [12345_wide, 7_wide])
  call integers('(i3,10x)', [1_wide, 2_wide])

  call reals('(1x,5g14.6)', [1.25d0, 0d0, -3d-7, 4d12, 5d0, 6d0, -7.5d-2])
  call reals('(1x,5G14.7)', [1.25d0, 0d0, -3d-7, 4d12, 5d0, 6d0])
  call reals('(5g15.7)', [0.1d0, 1d0, 10d0])
  call reals('(5(1x,1pg12.5))', [0.1d0, 1d0, 1d20, -1d-20, 0d0])
  call reals('(5(1x,1pg14.7))', [0.1d0, 1d0, 1d20])
  call reals('(10(G12.5,1X))', [0.1d0, 1d0, 1d20])
  call reals('( 10(g12.5,1x))', [0.1d0, 1d0, 1d20])
  call reals('(8x,*(f8.6,2x))', [0.1d0, 1d0, 0.987654321d0])
  call reals('(1pe12.4,0pf8.2,f8.2,1p,f8.2,g12.4)', [1.5d0, 1.5d0, 2.5d0, 3.5d0, 1d9])
  call reals('(1x,''Current Function Value = '',g15.7)', [1234.5678d0])
  call reals('(20f4.0)', [(real(k, 8)*0.5d0, k=1, 22)])
  call reals('(f6.2,1p,e12.4)', [1.5d0, 2.5d0, 3.5d0, 4.5d0])

  call text_integer('(1X,A,I0,''.'')', ' The file is small.inp on unit ', 4_wide)
  call text_integer('(2x,a,i0)', 'ERROR from FILLSG', -1_wide)
  call text_integer('(1x,a,'' = '',i3)', 'rows', 12_wide)
  call text_integer('(1x,a,i3,'':'',200(20f4.0/))', 'Group', 12_wide)
  call text_real('(1x,a,1pg12.5)', 'gradient', 3.25d-9)
  call text_real('(1x,a,f0.3)', 'time', 0.25d0)
  call text_real('(1x,a,g15.7)', 'value', 99999995d-1)
  call text_real('(a,g14.7)', 'x', -1d0)
  call text_reals('(1x,a,*(/1x,10(f5.2,1x)))', 'lengths', [(real(k, 8)/8, k=1, 13)])
  call text_reals('(1x,a,*(/1x,10(f5.2,1x)))', 'lengths', [(real(k, 8)/8, k=1, 10)])
  call text_reals('(a,2g14.7)', 'x', [1d0, 1d8])
  call integer_reals('(i3,'':'',200(20f4.0/))', 3_wide, [(real(k, 8), k=1, 45)])
  call integer_reals('(i3,'':'',200(20f4.0/))', 3_wide, [(real(k, 8), k=1, 40)])
  call integer_reals('(1x,i3,2x,*(f10.6))', 3_wide, [1d0, 0.25d0, -1234.5d0])
  call integer_texts('(1x,i4,'':'',a,t27,4(2x,a14))', 12_wide, [character(14) :: 'Phi', '0.5', '1.25', '0.1', '0.9'])
  call integer_texts('(1x,i4,'':'',a,t27,4(''  '',a14))', 12_wide, ['abcdefghijklmnopqrstuvwxyzabc', '0.5                          '])
  call integer_texts('(6x,i3,4x,a14,3(2x,a14))', 1_wide, ['a', 'b', 'c', 'd'])
  call pairs('(/1x,3(a,i0))', ['Maximum of ', ' words     '], [12_wide, 5_wide])
  call pairs('(30(/(a,i0,a,i3)))', ['ab', 'cd', 'ef', 'gh'], [1_wide, 2_wide, 3_wide, 4_wide])
  call ratios('(5(3x,i0,''/'',i0,2x,g14.7))', [1_wide, 2_wide, 30_wide, 40_wide], [0.5d0, 0.75d0])
end program
